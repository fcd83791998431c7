#include "fuzz/Check.h"
#include "fuzz/Edits.h"
#include "fuzz/Handles.h"
#include "ostrel/IpcMsg.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

namespace {

const std::string noData = "logic_error: DataPart without data";
const std::string invalidNumber = "logic_error: Invalid part number";
const std::string outOfBounds = "logic_error: StringMsg part index out of bounds";

/// What a part has to be. A part made by hand can have any size, with a buffer or without one.
struct PartModel {
    std::optional<std::string> bytes; // Of the buffer, if there is one.
    int size = 0;

    /// Such a part cannot be copied.
    bool lacksBytes() const
    {
        return size > 0 && !bytes;
    }

    /// Such a buffer does not survive a copy of its part.
    bool hasUnusedBuffer() const
    {
        return size <= 0 && bytes;
    }

    PartModel copied() const
    {
        return {size > 0 ? bytes : std::nullopt, size};
    }
};

using PartModels = std::vector<PartModel>;

bool canCopy(PartModels::const_iterator begin, PartModels::const_iterator end)
{
    return std::none_of(begin, end, [](const PartModel& part) { return part.lacksBytes(); });
}

bool canCopy(const PartModels& parts)
{
    return canCopy(parts.begin(), parts.end());
}

void copyAll(PartModels::iterator begin, PartModels::iterator end)
{
    std::transform(begin, end, begin, [](const PartModel& part) { return part.copied(); });
}

/// A part as the input chooses it, its buffer from malloc().
struct ChosenPart {
    explicit ChosenPart(Input& input)
    {
        const unsigned int choice = input.byte();
        const std::string bytes = input.bytes(choice >> 3U);
        model.size = static_cast<int>(bytes.size());
        if (!bytes.empty()) {
            model.bytes = bytes;
        }
        switch (choice & 7U) {
        case 0:
            model.bytes.reset(); // The size alone.
            break;
        case 1:
            model.size = -model.size;
            break;
        case 2:
            model.size = 0;
            break;
        default:
            break;
        }
    }

    /// The caller releases it.
    char* makeBuffer() const
    {
        if (!model.bytes) {
            return nullptr;
        }
        return static_cast<char*>(std::memcpy(std::malloc(model.bytes->size()), model.bytes->data(),
                                              model.bytes->size()));
    }

    PartModel model;
};

using Buffer = std::unique_ptr<char, void (*)(void*)>;

/// The line of syslog that an operation adds to what it throws.
std::vector<std::string> line(const std::string& prefix, const std::string& thrown)
{
    if (thrown.empty()) {
        return {};
    }
    return {"Error : ostrel::" + prefix + thrown.substr(thrown.find(": ") + 2)};
}

void expectPart(const ostrel::DataPart& actual, const PartModel& expected)
{
    expectEqual(actual.mSize, expected.size, "the size of a part");
    if (expected.size > 0 && expected.bytes) {
        expect(actual.mData != nullptr, "a part with bytes has a buffer");
        expectEqual(std::string(actual.mData, actual.mData + actual.mSize), *expected.bytes,
                    "the bytes of a part");
    } else if (!expected.hasUnusedBuffer()) {
        expect(actual.mData == nullptr, "a part without bytes has no buffer");
    }
}

/// A message and what it has to hold.
class EditedBinary {
public:
    EditedBinary() : mMsg(std::make_unique<ostrel::IpcMsg>()) {}

    void compare()
    {
        expectEqual(mMsg->getMsgType(), mType, "the type");
        expectEqual(mMsg->getMsgSubType(), mSubType, "the subtype");
        expectEqual(mMsg->getNumParts(), static_cast<int>(mParts.size()), "the number of parts");
        for (std::size_t i = 0; i < mParts.size(); ++i) {
            expectPart((*mMsg)[static_cast<unsigned int>(i)], mParts[i]);
        }
        if (mParts.empty()) {
            expect(mMsg->getMsgData() == nullptr, "no part has no data");
            expectEqual(mMsg->getMsgSize(), 0, "the size of no part");
        } else {
            expect(mMsg->getMsgData() == (*mMsg)[0].mData, "the data are the first part's");
            expectEqual(mMsg->getMsgSize(), mParts[0].size, "the size of the first part");
        }
        expectSame(mMsg->getHandle(), mHandle);
    }

    void construct(Input& input)
    {
        mType = input.number();
        mSubType = input.number();
        mMsg = std::make_unique<ostrel::IpcMsg>(mType, mSubType);
        mParts.clear();
        mHandle.reset();
    }

    void constructWithData(Input& input)
    {
        const int type = input.number();
        const ChosenPart part(input);
        ChosenHandle chosen(input);
        const Buffer buffer(part.makeBuffer(), std::free);
        const std::string thrown = thrownBy([&] {
            mMsg = std::make_unique<ostrel::IpcMsg>(type, buffer.get(), part.model.size,
                                                    chosen.handle.get());
        });
        expectOutcome(thrown, part.model.lacksBytes() ? noData : "", "");
        if (thrown.empty()) {
            chosen.handle.release(); // The message's now.
            mType = type;
            mSubType = 0;
            mParts = {part.model.copied()};
            mHandle = chosen.model;
        }
    }

    void copyConstruct(const EditedBinary& other)
    {
        std::string failure = canCopy(other.mParts) ? "" : noData;
        const std::optional<HandleModel> handle =
            failure.empty() ? cloneOf(other.mHandle, failure) : std::nullopt;
        const std::string thrown =
            thrownBy([&] { mMsg = std::make_unique<ostrel::IpcMsg>(*other.mMsg); });
        expectOutcome(thrown, failure, "IpcMsg::IpcMsg() : ");
        if (thrown.empty()) {
            mType = other.mType;
            mSubType = other.mSubType;
            mParts = other.mParts;
            copyAll(mParts.begin(), mParts.end());
            mHandle = handle;
        }
    }

    void assign(const EditedBinary& other)
    {
        const std::string prefix = "IpcMsg::Opearator=() : ";
        const int partsBefore = mMsg->getNumParts();
        const std::string thrown = thrownBy([&] { *mMsg = *other.mMsg; });
        mType = other.mType;
        mSubType = other.mSubType;
        if (mMsg->getNumParts() < other.mMsg->getNumParts()) {
            // Room for more parts takes copies of those that are there.
            expectEqual(mMsg->getNumParts(), partsBefore, "the number of parts");
            expect(!canCopy(mParts), "room for parts can be made");
            expectOutcome(thrown, noData, prefix);
            return;
        }
        mParts.resize(other.mParts.size());
        std::string failure = assignParts(other);
        if (failure.empty()) {
            mHandle.reset(); // Before it is cloned, be it its own.
            mHandle = cloneOf(other.mHandle, failure);
        }
        expectOutcome(thrown, failure, prefix);
    }

    void setNumParts(Input& input)
    {
        const unsigned int count = input.byte() % 24;
        const std::string thrown =
            thrownBy([&] { expectEqual(mMsg->setNumParts(count), 0, "the result"); });
        expectGrowth(thrown, count > mParts.size(), "IpcMsg::setNumParts() : ");
        if (thrown.empty()) {
            mParts.resize(count);
        }
    }

    void insertData(Input& input)
    {
        const unsigned int index = input.index(mParts.size());
        const ChosenPart part(input);
        const Buffer buffer(part.makeBuffer(), std::free);
        insert(index, part.model, thrownBy([&] {
                   expectEqual(mMsg->insertPart(index, buffer.get(), part.model.size), 0,
                               "the result");
               }));
    }

    void insertPart(Input& input)
    {
        const unsigned int index = input.index(mParts.size());
        const ChosenPart part(input);
        insert(index, part.model, thrownBy([&] {
                   const int result = mMsg->insertPart(
                       index, ostrel::DataPart(part.makeBuffer(), part.model.size));
                   expectEqual(result, 0, "the result");
               }));
    }

    /// A part of a message, which may be this one.
    void insertCopy(Input& input, const EditedBinary& other)
    {
        if (other.mParts.empty()) {
            return;
        }
        const unsigned int index = input.index(mParts.size());
        const unsigned int from = input.byte() % static_cast<unsigned int>(other.mParts.size());
        const PartModel part = other.mParts[from];
        const std::string thrown = thrownBy([&] { mMsg->insertPart(index, (*other.mMsg)[from]); });
        if (part.lacksBytes()) {
            expectOutcome(thrown, noData, ""); // The argument cannot be made.
        } else {
            insert(index, part, thrown);
        }
    }

    void removePart(Input& input)
    {
        const unsigned int index = input.index(mParts.size());
        const std::string thrown =
            thrownBy([&] { expectEqual(mMsg->removePart(index), 0, "the result"); });
        if (index >= mParts.size()) {
            expectOutcome(thrown, invalidNumber, "");
            return;
        }
        const auto position = mParts.begin() + static_cast<std::ptrdiff_t>(index);
        expectOutcome(thrown, canCopy(position + 1, mParts.end()) ? "" : noData, "");
        if (thrown.empty()) {
            copyAll(mParts.erase(position), mParts.end());
        }
    }

    void replacePart(Input& input)
    {
        const unsigned int index = input.index(mParts.size());
        const ChosenPart part(input);
        const bool inside = index < mParts.size();
        const std::string thrown = thrownBy([&] {
            ostrel::DataPart& replaced = (*mMsg)[index];
            std::free(replaced.mData);
            replaced.mData = part.makeBuffer();
            replaced.mSize = part.model.size;
        });
        expectOutcome(thrown, inside ? "" : outOfBounds, "StringMsg::operator []() : ");
        if (inside) {
            mParts[index] = part.model;
        }
    }

    void assignPart(Input& input, const EditedBinary& other)
    {
        if (mParts.empty() || other.mParts.empty()) {
            return;
        }
        const unsigned int to = input.byte() % static_cast<unsigned int>(mParts.size());
        const unsigned int from = input.byte() % static_cast<unsigned int>(other.mParts.size());
        const std::string thrown = thrownBy([&] { (*mMsg)[to] = (*other.mMsg)[from]; });
        expectOutcome(thrown, assignModel(mParts[to], other.mParts[from]), "");
    }

    void setType(Input& input)
    {
        mType = input.number();
        mMsg->setMsgType(mType);
    }

    void setSubType(Input& input)
    {
        mType = input.number();
        mMsg->setMsgSubType(mType); // Sets the type.
    }

    void setHandle(Input& input)
    {
        const ChosenHandle chosen(input);
        std::string failure;
        mHandle = cloneOf(chosen.model, failure);
        expectOutcome(thrownBy([&] { mMsg->setHandle(chosen.handle.get()); }), failure, "");
    }

    void borrowHandle(const EditedBinary& other)
    {
        if (&other == this) {
            return;
        }
        std::string failure;
        mHandle = cloneOf(other.mHandle, failure);
        expectOutcome(thrownBy([&] { mMsg->setHandle(other.mMsg->getHandle()); }), failure, "");
    }

private:
    /// `prefix` is empty for what is not logged.
    static void expectOutcome(const std::string& thrown, const std::string& expected,
                              const std::string& prefix)
    {
        expectEqual(thrown, expected, "what is thrown");
        expectLogged(prefix.empty() ? std::vector<std::string>() : line(prefix, thrown));
    }

    /// The outcome of an operation that may move parts, that is copy them, and has no other
    /// failure. Whether it does is the vector's business.
    void expectGrowth(const std::string& thrown, bool grows, const std::string& prefix) const
    {
        const bool mayFail = grows && !canCopy(mParts);
        expectOutcome(thrown, mayFail && !thrown.empty() ? noData : "", prefix);
    }

    /// What assigning `source` throws.
    static std::string assignModel(PartModel& part, const PartModel& source)
    {
        if (&part == &source || source.lacksBytes()) {
            const bool same = &part == &source;
            part = PartModel();
            return same ? "" : noData;
        }
        part = source.copied();
        return "";
    }

    std::string assignParts(const EditedBinary& other)
    {
        std::string failure;
        for (std::size_t i = 0; i < mParts.size() && failure.empty(); ++i) {
            failure = assignModel(mParts[i], other.mParts[i]);
        }
        return failure;
    }

    void insert(unsigned int index, const PartModel& part, const std::string& thrown)
    {
        const bool atEnd = index == mParts.size();
        if (index > mParts.size()) {
            expectOutcome(thrown, invalidNumber, "");
        } else if (part.lacksBytes() || (!atEnd && !canCopy(mParts))) {
            expectOutcome(thrown, noData, "");
        } else {
            expectGrowth(thrown, atEnd, "");
        }
        if (!thrown.empty()) {
            return;
        }
        mParts.insert(mParts.begin() + static_cast<std::ptrdiff_t>(index), part.copied());
        if (!atEnd) {
            copyAll(mParts.begin(), mParts.end());
        }
    }

    std::unique_ptr<ostrel::IpcMsg> mMsg;
    int mType = 0;
    int mSubType = 0;
    PartModels mParts;
    std::optional<HandleModel> mHandle;
};

void edit(Input& input, EditedBinary& binary, const EditedBinary& other)
{
    switch (input.byte() % 15) {
    case 0:
        return binary.construct(input);
    case 1:
        return binary.constructWithData(input);
    case 2:
        return binary.copyConstruct(other);
    case 3:
        return binary.assign(other);
    case 4:
        return binary.setNumParts(input);
    case 5:
        return binary.insertData(input);
    case 6:
        return binary.insertPart(input);
    case 7:
        return binary.insertCopy(input, other);
    case 8:
        return binary.removePart(input);
    case 9:
        return binary.replacePart(input);
    case 10:
        return binary.assignPart(input, other);
    case 11:
        return binary.setType(input);
    case 12:
        return binary.setSubType(input);
    case 13:
        return binary.setHandle(input);
    default:
        return binary.borrowHandle(other);
    }
}

} // namespace

void editBinaries(Input& input)
{
    std::array<EditedBinary, 2> binaries;
    while (!input.atEnd()) {
        const unsigned int which = input.byte();
        EditedBinary& binary = binaries[which & 1U];
        edit(input, binary, binaries[which >> 1U & 1U]);
        binary.compare();
    }
    binaries[0].compare();
    binaries[1].compare();
}

} // namespace fuzz
