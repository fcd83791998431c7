#include "recovery/Recovery.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <netinet/in.h>
#include <new>
#include <sys/mman.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

void demand(bool good, const char* what)
{
    if (!good) {
        std::perror(what);
        std::abort();
    }
}

std::string newFolder()
{
    char folder[] = "/tmp/ostrel-XXXXXX";
    demand(mkdtemp(folder) != nullptr, "mkdtemp");
    return folder;
}

/// Open for the programs that the test starts, too.
int newLedger()
{
    const int file = memfd_create("ledger", 0);
    demand(file != -1 && ftruncate(file, sizeof(recovery::Ledger)) == 0, "ledger");
    new (&recovery::mapLedger(file)) recovery::Ledger;
    return file;
}

unsigned int seed()
{
    const char* given = std::getenv("OSTREL_TEST_SEED");
    const unsigned int number = given != nullptr
                                    ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10))
                                    : std::random_device{}();
    std::printf("OSTREL_TEST_SEED=%u\n", number);
    std::fflush(stdout);
    return number;
}

/// A socket on a free loopback port, and the port. It does not listen, so another socket may bind
/// the port; but while it is open nobody is given the port who wants any, also not a client that
/// connects: while the server is dead, such a one could even get connected to itself.
std::pair<int, int> keepPort()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    demand(fd != -1 && setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
               bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
               getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0,
           "free port");
    return {fd, ntohs(address.sin_port)};
}

} // namespace

namespace recovery {

Recovery::Recovery()
    : mFolder(newFolder()), mFile(newLedger()), mLedger(mapLedger(mFile)), mRandom(seed())
{
}

Recovery::~Recovery()
{
    for (const int fd : mPorts) {
        close(fd);
    }
    munmap(&mLedger, sizeof(Ledger));
    close(mFile);
    std::filesystem::remove_all(mFolder);
}

std::string Recovery::endpoint(const std::string& name)
{
    if (GetParam() == "ipc") {
        return "ipc://" + mFolder + "/" + name;
    }
    const auto [fd, port] = keepPort();
    mPorts.push_back(fd);
    return "tcp://127.0.0.1:" + std::to_string(port);
}

std::unique_ptr<support::Process> Recovery::start(const std::string& program,
                                                  const std::vector<std::string>& arguments) const
{
    std::vector<std::string> command = {support::programFolder() + "/recovery_" + program,
                                        std::to_string(mFile)};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return std::make_unique<support::Process>(command);
}

bool Recovery::await(const std::function<bool()>& happened) const
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!happened()) {
        if (mLedger.failed || std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

unsigned int Recovery::random(unsigned int least, unsigned int most)
{
    return std::uniform_int_distribution<unsigned int>(least, most)(mRandom);
}

void Recovery::killAtRandom(support::Process& process)
{
    std::this_thread::sleep_for(std::chrono::microseconds(random(0, 5000)));
    process.kill(SIGKILL);
    EXPECT_EQ(process.wait(), 128 + SIGKILL);
}

void Recovery::forget(unsigned int client)
{
    Client& entry = mLedger.clients[client];
    for (unsigned int i = 0; i < entry.sendings; ++i) {
        entry.log[i].arrived = 0;
    }
    entry.requests = 0;
    entry.settled = 0;
    entry.sendings = 0;
    mLedger.failed = false;
}

Figures Recovery::askedBy(unsigned int clients) const
{
    unsigned int requests = 0;
    unsigned int sendings = 0;
    for (unsigned int i = 0; i < clients; ++i) {
        requests += mLedger.clients[i].requests;
        sendings += mLedger.clients[i].sendings;
    }
    return {{"clients", clients}, {"requests", requests}, {"asked_again", sendings - requests}};
}

void Recovery::tell(const std::vector<Figures>& figures)
{
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    std::string line = "figures of ";
    line += test.test_suite_name();
    line += std::string(".") + test.name() + ":";
    for (const Figures& some : figures) {
        for (const auto& [name, value] : some) {
            line += " " + name + "=" + std::to_string(value);
            RecordProperty(name, std::to_string(value));
        }
    }
    std::puts(line.c_str());
}

unsigned int countSendings(const Client& client, unsigned int first, unsigned int end,
                           const std::function<bool(const Sending&)>& condition)
{
    unsigned int count = 0;
    for (unsigned int i = first; i < end; ++i) {
        count += condition(client.log[i]) ? 1 : 0;
    }
    return count;
}

unsigned int countSendings(const Client& client,
                           const std::function<bool(const Sending&)>& condition)
{
    return countSendings(client, 0, client.sendings, condition);
}

} // namespace recovery
