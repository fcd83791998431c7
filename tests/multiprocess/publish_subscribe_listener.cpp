// publish_subscribe_listener ENDPOINT CONTROL MODE SUBJECTS FILTER...: subscribes with the
// filters, given in hexadecimal, and counts what it hears until so many subjects have ended.
//
// MODE is how it receives: "text", "binary", or "loop" for the dispatch by type. Prints a line
// "heard <subject>: <number>" for each subject, and "unexpected ..." for what must not come.

#include "multiprocess/publish_subscribe_plan.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgRequestPattern.h"
#include "ostrel/MsgSubscribeChannel.h"
#include "ostrel/StringMsg.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>

namespace {

std::string unhex(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

class Subscriber {
public:
    Subscriber(const std::string& mode, char** filters) : mText(mode == "text")
    {
        for (; *filters != nullptr; ++filters) {
            mChannel.subscribe(unhex(*filters));
        }
    }

    void connect(const std::string& endpoint)
    {
        mChannel.setPublisherEndPoint(endpoint);
    }

    /// Takes the next message; false when there is none.
    bool take(long timeout)
    {
        std::string stage;
        std::string number;
        std::string subject;
        if (mText) {
            std::string topic;
            ostrel::StringMsg msg(0);
            if (mChannel.receive(topic, &msg, timeout) < 3) {
                return false;
            }
            stage = msg[0];
            number = msg[1];
            subject = msg[2];
        } else {
            ostrel::IpcMsg msg;
            if (mChannel.receive(&msg, timeout) < 3) {
                return false;
            }
            stage = textOf(msg[0]);
            number = textOf(msg[1]);
            subject = textOf(msg[2]);
        }
        note(stage, number, subject);
        return true;
    }

    void report() const
    {
        for (const auto& [subject, number] : mCounted) {
            std::printf("heard %s: %d\n", subject.c_str(), number);
        }
    }

    int countInLoop()
    {
        mChannel.registerCallBack(plan::loopCount.type, [](const char*, int, auto*) { ++inLoop; });
        mChannel.registerCallBack(plan::loopEnd.type,
                                  [](const char*, int, auto* channel) { channel->terminate(); });
        inLoop = 0;
        mChannel.ipcReceive(-1);
        return inLoop;
    }

    std::set<std::string> mGreeted;
    std::set<std::string> mEnded;

private:
    static std::string textOf(const ostrel::DataPart& part)
    {
        return std::string(part.mData, part.mData + part.mSize);
    }

    void note(const std::string& stage, const std::string& number, const std::string& subject)
    {
        if (stage == "hello") {
            mGreeted.insert(subject);
        } else if (stage == "count" && number == std::to_string(mCounted[subject])) {
            ++mCounted[subject];
        } else if (stage == "end") {
            mEnded.insert(subject);
        } else {
            std::printf("unexpected %s %s of %s\n", stage.c_str(), number.c_str(), subject.c_str());
        }
    }

    static int inLoop;

    bool mText;
    ostrel::MsgSubscribeChannel mChannel{"subscriber"};
    std::map<std::string, int> mCounted;
};

int Subscriber::inLoop = 0;

/// Tells the publisher something and waits until it has taken it.
void tell(ostrel::MsgRequestPattern& control, const char* what)
{
    ostrel::StringMsg msg(1);
    msg[0] = what;
    control.send(&msg);
    control.receive(&msg, -1);
}

} // namespace

int main(int /*count*/, char** arguments)
{
    const std::string mode = arguments[3];
    const auto subjects = static_cast<std::size_t>(std::atoi(arguments[4]));
    Subscriber subscriber(mode, arguments + 5);
    subscriber.connect(arguments[1]);
    ostrel::MsgRequestPattern control("control");
    control.setProperty(ostrel::PROP_SERVER_ENDPOINT, arguments[2]);

    // What is published before the subscription has reached the publisher is lost, so each filter
    // must have let something through first.
    for (int tries = 0; subscriber.mGreeted.size() < subjects; ++tries) {
        if (tries == 100000) {
            return 1;
        }
        tell(control, plan::ask);
        while (subscriber.take(0)) {
        }
    }
    tell(control, plan::ready);
    if (mode == "loop") {
        std::printf("heard %s: %d\n", plan::loopCount.name, subscriber.countInLoop());
        return 0;
    }
    while (subscriber.mEnded.size() < subjects) {
        subscriber.take(-1);
    }
    subscriber.report();
    return 0;
}
