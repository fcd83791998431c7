#include "faults/Table.h"
#include "faults/Walk.h"
#include "ostrel/ZMQWrapper.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace faults;

namespace {

using Rows = std::vector<const Operation*>;

/// Rows of one class.
class FaultTest : public testing::Test {
public:
    explicit FaultTest(Rows rows) : mRows(std::move(rows)) {}

    void TestBody() override
    {
        for (const Operation* operation : mRows) {
            SCOPED_TRACE(operation->name);
            walkOne(*operation);
        }
    }

private:
    static void walkOne(const Operation& operation)
    {
        if (!operation.once) {
            ostrel::ZMQWrapper::getInstance();
        }
        const Count count = walk(operation);
        std::fprintf(stderr, "%-55s failed %3d calls, %2d frames, %2d allocations, %3d of both\n",
                     operation.name.c_str(), count.calls, count.frames, count.allocations,
                     count.both);
        EXPECT_EQ(count.calls == 0, operation.steps.calls.empty());
        EXPECT_EQ(count.allocations == 0, operation.endingsWithoutMemory.empty());
    }

    Rows mRows;
};

/// Whether it needs a process of its own: for what happens once in each, or for brokers, whose
/// sockets stay open.
bool isAlone(const Operation& operation)
{
    const std::vector<Call>& calls = operation.steps.calls;
    return operation.once || std::any_of(calls.begin(), calls.end(), [](const Call& call) {
               return call.function == "pthread_create";
           });
}

void registerTest(const std::string& suite, const std::string& name, const Rows& rows)
{
    testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [rows] { return new FaultTest(rows); });
}

/// A test for each class, and one for each row that has to be alone.
void registerTests()
{
    std::map<std::string, Rows> together;
    for (const Operation& operation : table()) {
        const std::size_t point = operation.name.find('.');
        const std::string suite = operation.name.substr(0, point);
        if (isAlone(operation)) {
            registerTest(suite, operation.name.substr(point + 1), {&operation});
        } else {
            together[suite].push_back(&operation);
        }
    }
    for (const auto& [suite, rows] : together) {
        registerTest(suite, "EachOperation", rows);
    }
}

/// What is exported and can be called: no data, and no tables of the compiler's.
bool isOperation(const std::string& symbol)
{
    return symbol.find('(') != std::string::npos;
}

/// As the rows write it.
std::string shortened(std::string symbol)
{
    symbol = std::regex_replace(symbol,
                                std::regex("std::__cxx11::basic_string<char, "
                                           "std::char_traits<char>, std::allocator<char> >"),
                                "std::string");
    symbol = std::regex_replace(symbol, std::regex("\\[abi:cxx11\\]"), "");
    return std::regex_replace(symbol, std::regex("^ostrel::"), "");
}

std::set<std::string> exportedOperations()
{
    std::ifstream file(SYMBOLS);
    std::set<std::string> operations;
    for (std::string symbol; std::getline(file, symbol);) {
        if (isOperation(symbol)) {
            operations.insert(shortened(symbol));
        }
    }
    return operations;
}

} // namespace

TEST(FaultTable, HasEveryExportedOperation)
{
    const std::set<std::string> exported = exportedOperations();
    EXPECT_GT(exported.size(), 100U);
    std::set<std::string> covered;
    std::set<std::string> names;
    for (const Operation& operation : table()) {
        EXPECT_TRUE(names.insert(operation.name).second) << operation.name << " stands twice";
        EXPECT_THAT(operation.covers, testing::Not(testing::IsEmpty())) << operation.name;
        covered.insert(operation.covers.begin(), operation.covers.end());
    }
    EXPECT_THAT(covered, testing::ElementsAreArray(exported));
}

int main(int count, char** arguments)
{
    testing::InitGoogleMock(&count, arguments);
    registerTests();
    return RUN_ALL_TESTS();
}
