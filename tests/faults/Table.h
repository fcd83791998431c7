#ifndef OSTREL_TESTS_FAULTS_TABLE_H
#define OSTREL_TESTS_FAULTS_TABLE_H

#include "faults/Calls.h"
#include "faults/Leaks.h"
#include "faults/Operation.h"
#include "faults/Peer.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgChannel.h"
#include "ostrel/MsgPattern.h"
#include "ostrel/StringMsg.h"
#include "pattern/WorkerTesting.h"
#include "support/AllocFault.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// How the rows of the table are written.
namespace faults {

using Table = std::vector<Operation>;

/// Every operation of the library.
const Table& table();

// Its sections.
void addMessages(Table& table);
void addTransport(Table& table);
void addPatterns(Table& table);
void addChannels(Table& table);

/// Texts that no std::string keeps without memory. Different lengths tell lost blocks apart.
const std::string longText = "a text that is too long to be kept without memory";
const std::string otherText = "another text, longer still, that is not kept without memory either";
const std::string client = "the client with an identity of some length";

/// An endpoint, or a name, that no other trial has. Endings show it without its number.
std::string unique(const std::string& what);

/// `text` without the numbers of unique().
std::string plain(const std::string& text);

/// A copy for a parameter that is taken by value; making it is none of the operation's doing.
template <typename Value> Value given(const Value& value)
{
    support::AllocFault::pause();
    Value copy = value;
    support::AllocFault::resume();
    return copy;
}

/// At its end, takes what no worker has taken from a broker, once and for all: while requests wait
/// for a worker that never comes, a broker's thread spins.
struct Sink {
    Sink() = default;
    ~Sink();
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    std::string endpoint; // Empty for none.
};

/// What goes with the subject of a row.
struct Stage {
    Sink sink;
    std::string address = unique("inproc://server"); // Also where a broker takes clients,
    std::string workers = unique("inproc://worker"); // and where it takes workers.
    std::string name = unique("a pool with a name of some length");
    std::optional<Peer> peer;
    ostrel::StringMsg text;
    ostrel::IpcMsg binary;
    std::unique_ptr<ostrel::MsgHandle> handle;
    std::string got; // What an operation has given back, or what it has to be given.
};

/// What a row's operation is run on, and what goes with it.
template <typename Subject> struct Scene : Stage {
    std::optional<Subject> it;
};

/// A row about operations of `Subject`; its functions say what is what.
template <typename Subject> class Row {
public:
    using Here = Scene<Subject>;

    /// `arrange` makes the scene ready, `run` is the operation.
    Row(Table& table, const std::string& name, const Lines& covers,
        std::function<void(Here&)> arrange, std::function<long(Here&)> run)
        : mTable(table), mIndex(table.size()), mParts(std::make_shared<Parts>())
    {
        mParts->arrange = std::move(arrange);
        mParts->run = std::move(run);
        Operation operation;
        operation.name = name;
        operation.covers = covers;
        operation.make = [parts = mParts] { return makeTrial(parts); };
        table.push_back(std::move(operation));
    }

    /// The calls that it makes.
    Row& calls(const Steps& steps)
    {
        operation().steps = steps;
        return *this;
    }

    /// How each allocation's failure ends it.
    Row& memory(const std::vector<Ending>& endings)
    {
        operation().endingsWithoutMemory = endings;
        return *this;
    }

    Row& ends(const Ending& ending)
    {
        operation().normal = ending;
        return *this;
    }

    /// It throws whatever happens: one more reason to run out of memory.
    Row& refuses(const std::string& text, const Lines& prefixes = {})
    {
        operation().normal = refused(text, prefixes);
        return memory(endingsOfFailing(operation().normal, prefixes)).repeats();
    }

    Row& endsWithout(const std::function<Ending(std::size_t)>& ending)
    {
        operation().endingWithout = ending;
        return *this;
    }

    /// The state afterwards, as `show` gives it.
    Row& shows(const std::string& state, std::function<std::string(Here&)> show)
    {
        operation().shown = state;
        mParts->show = std::move(show);
        return *this;
    }

    /// After a failure everything is as it was, and the operation can be run again.
    Row& unchanged()
    {
        operation().unchanged = true;
        return repeats();
    }

    Row& repeats()
    {
        operation().repeats = true;
        return *this;
    }

    /// Its subject does not outlive it.
    Row& destroys()
    {
        mParts->destroys = true;
        return *this;
    }

    Row& once()
    {
        operation().once = true;
        return *this;
    }

    Row& leavesContext()
    {
        operation().leavesContext = true;
        return *this;
    }

    Row& sends(const Lines& frames)
    {
        operation().sends = frames;
        return *this;
    }

    Row& receives(const Lines& frames)
    {
        operation().receives = frames;
        return *this;
    }

private:
    struct Parts {
        std::function<void(Here&)> arrange;
        std::function<long(Here&)> run;
        std::function<std::string(Here&)> show;
        bool destroys = false;
    };

    Operation& operation()
    {
        return mTable[mIndex];
    }

    static const ostrel::MsgPattern* patternOf(const Here& here)
    {
        if constexpr (std::is_base_of_v<ostrel::MsgPattern, Subject>) {
            return here.it ? &*here.it : nullptr;
        } else if constexpr (std::is_base_of_v<ostrel::MsgChannel, Subject>) {
            return here.it ? here.it->pvthandle : nullptr;
        } else {
            return nullptr;
        }
    }

    static Trial makeTrial(const std::shared_ptr<Parts>& parts)
    {
        auto here = std::make_shared<Here>();
        parts->arrange(*here);
        Trial trial;
        trial.run = [parts, here] { return parts->run(*here); };
        if (parts->show) {
            trial.show = [parts, here] { return parts->show(*here); };
        }
        trial.pattern = parts->destroys ? nullptr : patternOf(*here);
        trial.recordedName = here->name;
        return trial;
    }

    Table& mTable;
    std::size_t mIndex;
    std::shared_ptr<Parts> mParts;
};

} // namespace faults

#endif
