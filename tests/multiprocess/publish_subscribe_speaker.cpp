// publish_subscribe_speaker ENDPOINT CONTROL SUBSCRIBERS: publishes as planned, to so many
// subscribers.

#include "multiprocess/publish_subscribe_plan.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgPublishChannel.h"
#include "ostrel/MsgReplyPattern.h"
#include "ostrel/StringMsg.h"

#include <cstdlib>
#include <string>

namespace {

class Publisher {
public:
    explicit Publisher(const std::string& endpoint)
    {
        mChannel.setPublisherEndPoint(endpoint);
    }

    void publish(const plan::Subject& subject, const std::string& stage, int number)
    {
        const std::string texts[] = {stage, std::to_string(number), subject.name};
        if (subject.isText) {
            ostrel::StringMsg msg(0);
            for (const std::string& part : texts) {
                msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part);
            }
            mChannel.send(subject.name, &msg);
        } else {
            ostrel::IpcMsg msg(subject.type, subject.subType);
            for (const std::string& part : texts) {
                msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part.data(),
                               static_cast<int>(part.size()));
            }
            mChannel.send(&msg);
        }
    }

    void publishAll(const std::string& stage, int number, const plan::Subject& ofLoop)
    {
        for (const plan::Subject& subject : plan::subjects) {
            publish(subject, stage, number);
        }
        publish(ofLoop, stage, number);
    }

    void publishCounted()
    {
        for (int i = 0; i < plan::counted; ++i) {
            publishAll("count", i, plan::loopCount);
        }
        publishAll("end", 0, plan::loopEnd);
    }

private:
    ostrel::MsgPublishChannel mChannel{"publisher"};
};

} // namespace

int main(int /*count*/, char** arguments)
{
    const int subscribers = std::atoi(arguments[3]);
    Publisher publisher(arguments[1]);
    publisher.publishAll("early", 0, plan::loopCount);

    ostrel::MsgReplyPattern control("control");
    control.setProperty(ostrel::PROP_SERVER_ENDPOINT, arguments[2]);
    int ready = 0;
    while (true) {
        ostrel::StringMsg told(0);
        control.receive(&told, -1);
        if (told[0] == plan::quit) {
            return 0;
        }
        if (told[0] == plan::ask) {
            publisher.publishAll("hello", 0, plan::loopHello);
        }
        const bool all = told[0] == plan::ready && ++ready == subscribers;
        control.send(&told);
        if (all) {
            publisher.publishCounted();
        }
    }
}
