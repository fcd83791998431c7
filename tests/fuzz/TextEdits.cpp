#include "fuzz/Check.h"
#include "fuzz/Edits.h"
#include "fuzz/Handles.h"
#include "fuzz/Model.h"
#include "ostrel/StringMsg.h"

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fuzz {

namespace {

/// Runs `operation`, which has to throw std::logic_error(`failure`) and log it with its `name`, or
/// to return when there is no failure.
template <typename Operation>
void run(const std::string& name, const std::string& failure, Operation operation)
{
    expectEqual(thrownBy(operation), failure.empty() ? failure : "logic_error: " + failure,
                "what is thrown");
    std::vector<std::string> logged;
    if (!failure.empty()) {
        logged.push_back("Error : Ostrel::StringMsg::" + name + " : " + failure);
    }
    expectLogged(logged);
}

std::ptrdiff_t offset(unsigned int index)
{
    return static_cast<std::ptrdiff_t>(index);
}

/// A message and what it has to hold.
class EditedText {
public:
    EditedText() : mMsg(std::make_unique<ostrel::StringMsg>()) {}

    void compare()
    {
        expectEqual(look(*mMsg).parts, mParts, "the list of parts");
        expectSame(mMsg->getHandle(), mHandle);
    }

    void construct(Input& input)
    {
        const unsigned int count = input.byte() % 24;
        mMsg = std::make_unique<ostrel::StringMsg>(count);
        mParts.assign(count, "");
        mHandle.reset();
    }

    void copyConstruct(const EditedText& other)
    {
        mMsg = std::make_unique<ostrel::StringMsg>(*other.mMsg);
        mParts = other.mParts;
        mHandle = other.mHandle;
    }

    void assign(const EditedText& other)
    {
        *mMsg = *other.mMsg;
        mParts = other.mParts;
        mHandle = &other == this ? std::nullopt : other.mHandle;
    }

    void setNumParts(Input& input)
    {
        const unsigned int count = input.byte() % 24;
        expectEqual(mMsg->setNumParts(count), 0, "the result");
        mParts.resize(count);
    }

    void insertPart(Input& input)
    {
        const unsigned int index = input.index(mParts.size());
        const std::string part = input.bytes(input.byte() % 40);
        const bool inside = index <= mParts.size();
        run("insertPart()", inside ? "" : "Invalid part number",
            [&] { expectEqual(mMsg->insertPart(index, part), 0, "the result"); });
        if (inside) {
            mParts.insert(mParts.begin() + offset(index), part);
        }
    }

    void removePart(Input& input)
    {
        const unsigned int index = input.index(mParts.size());
        const bool inside = index < mParts.size();
        run("removePart()", inside ? "" : "Invalid part number",
            [&] { expectEqual(mMsg->removePart(index), 0, "the result"); });
        if (inside) {
            mParts.erase(mParts.begin() + offset(index));
        }
    }

    void writePart(Input& input)
    {
        const unsigned int index = input.index(mParts.size());
        const std::string part = input.bytes(input.byte() % 40);
        const bool inside = index < mParts.size();
        run("operator []()", inside ? "" : "StringMsg part index out of bounds",
            [&] { (*mMsg)[index] = part; });
        if (inside) {
            mParts[index] = part;
        }
    }

    void setHandle(Input& input)
    {
        const ChosenHandle chosen(input);
        std::string failure;
        mHandle = cloneOf(chosen.model, failure);
        expectEqual(thrownBy([&] { mMsg->setHandle(chosen.handle.get()); }), failure,
                    "what is thrown");
        expectLogged({});
    }

    void borrowHandle(const EditedText& other)
    {
        if (&other != this) {
            mMsg->setHandle(other.mMsg->getHandle());
            mHandle = other.mHandle;
        }
    }

private:
    std::unique_ptr<ostrel::StringMsg> mMsg;
    std::vector<std::string> mParts;
    std::optional<HandleModel> mHandle;
};

void edit(Input& input, EditedText& text, const EditedText& other)
{
    switch (input.byte() % 9) {
    case 0:
        return text.construct(input);
    case 1:
        return text.copyConstruct(other);
    case 2:
        return text.assign(other);
    case 3:
        return text.setNumParts(input);
    case 4:
        return text.insertPart(input);
    case 5:
        return text.removePart(input);
    case 6:
        return text.writePart(input);
    case 7:
        return text.setHandle(input);
    default:
        return text.borrowHandle(other);
    }
}

} // namespace

void editTexts(Input& input)
{
    std::array<EditedText, 2> texts;
    while (!input.atEnd()) {
        const unsigned int which = input.byte();
        EditedText& text = texts[which & 1U];
        edit(input, text, texts[which >> 1U & 1U]);
        text.compare();
    }
    texts[0].compare();
    texts[1].compare();
}

} // namespace fuzz
