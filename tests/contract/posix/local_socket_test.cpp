// network/local_socket.h with its body of this system, and with every call below it failing.
#include "network/local_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <string>

namespace {

using namespace Korr::Plim::Trace::Network;
using std::chrono::milliseconds;

/// Which calls fail next, and with what.
std::map<std::string, int> failures;

bool MustFail(const char* call) {
    const auto found = failures.find(call);
    if (found == failures.end()) return false;
    errno = found->second;
    failures.erase(found);
    return true;
}

constexpr auto kLong = milliseconds(20'000);

}  // namespace

extern "C" {
int __real_socket(int domain, int type, int protocol);
int __real_setsockopt(int socket, int level, int name, const void* value, socklen_t size);
int __real_bind(int socket, const sockaddr* address, socklen_t size);
int __real_listen(int socket, int waiting);
int __real_getsockname(int socket, sockaddr* address, socklen_t* size);
int __real_accept4(int socket, sockaddr* address, socklen_t* size, int flags);
int __real_poll(pollfd* wanted, nfds_t count, int most);
ssize_t __real_recv(int socket, void* buffer, size_t size, int flags);
ssize_t __real_send(int socket, const void* bytes, size_t size, int flags);

int __wrap_socket(int domain, int type, int protocol) {
    return MustFail("socket") ? -1 : __real_socket(domain, type, protocol);
}
int __wrap_setsockopt(int socket, int level, int name, const void* value, socklen_t size) {
    return MustFail("setsockopt") ? -1 : __real_setsockopt(socket, level, name, value, size);
}
int __wrap_bind(int socket, const sockaddr* address, socklen_t size) {
    return MustFail("bind") ? -1 : __real_bind(socket, address, size);
}
int __wrap_listen(int socket, int waiting) {
    return MustFail("listen") ? -1 : __real_listen(socket, waiting);
}
int __wrap_getsockname(int socket, sockaddr* address, socklen_t* size) {
    return MustFail("getsockname") ? -1 : __real_getsockname(socket, address, size);
}
int __wrap_accept4(int socket, sockaddr* address, socklen_t* size, int flags) {
    return MustFail("accept4") ? -1 : __real_accept4(socket, address, size, flags);
}
int __wrap_poll(pollfd* wanted, nfds_t count, int most) {
    return MustFail("poll") ? -1 : __real_poll(wanted, count, most);
}
ssize_t __wrap_recv(int socket, void* buffer, size_t size, int flags) {
    return MustFail("recv") ? -1 : __real_recv(socket, buffer, size, flags);
}
ssize_t __wrap_send(int socket, const void* bytes, size_t size, int flags) {
    return MustFail("send") ? -1 : __real_send(socket, bytes, size, flags);
}
}

namespace {

class LocalSocketTest : public testing::Test {
  protected:
    LocalSocketTest() : listener(Listen(0, port)) {}
    ~LocalSocketTest() override {
        if (program >= 0) close(program);
    }

    static int Connect(uint16_t to, uint32_t address = INADDR_LOOPBACK) {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_addr.s_addr = htonl(address);
        name.sin_port = htons(to);
        const int made = __real_socket(AF_INET, SOCK_STREAM, 0);
        if (connect(made, reinterpret_cast<sockaddr*>(&name), sizeof name) == 0) return made;
        close(made);
        return -1;
    }
    /// Both ends of a connection: `program` and what is returned.
    Socket Pair() {
        program = Connect(port);
        EXPECT_TRUE(WaitUntilReadable(listener.Handle(), kLong));
        return Socket(Accept(listener.Handle()));
    }
    static std::size_t OpenFiles() {
        std::size_t count = 0;
        for (int file = 0; file < 200; ++file) count += fcntl(file, F_GETFD) >= 0 ? 1 : 0;
        return count;
    }

    uint16_t port = 0;
    Socket listener;
    int program = -1;
};

TEST_F(LocalSocketTest, ListensOnThisMachineAlone) {
    ASSERT_TRUE(listener);
    EXPECT_GT(port, 0);
    sockaddr_in name{};
    socklen_t size = sizeof name;
    ASSERT_EQ(getsockname(static_cast<int>(listener.Handle()), reinterpret_cast<sockaddr*>(&name), &size), 0);
    EXPECT_EQ(ntohl(name.sin_addr.s_addr), INADDR_LOOPBACK);
    EXPECT_EQ(Connect(port, INADDR_LOOPBACK + 1), -1);
}

TEST_F(LocalSocketTest, PortThatIsListenedAtCannotBeTaken) {
    uint16_t taken = 0;
    EXPECT_EQ(Listen(port, taken), kNoSocket);
    EXPECT_EQ(LastNetworkError(), static_cast<uint32_t>(EADDRINUSE));
}

TEST_F(LocalSocketTest, PortCanBeTakenAgainRightAfterItsConnectionsEnded) {
    {
        const Socket accepted = Pair();
        listener.Close();
    }
    char end = 0;
    EXPECT_EQ(read(program, &end, 1), 0);
    uint16_t taken = 0;
    const Socket again(Listen(port, taken));
    EXPECT_TRUE(again);
    EXPECT_EQ(taken, port);
}

TEST_F(LocalSocketTest, NobodyThereIsNoSocketAndNothingIsWaitedFor) {
    EXPECT_EQ(Accept(listener.Handle()), kNoSocket);
    EXPECT_FALSE(WaitUntilReadable(listener.Handle(), milliseconds(0)));
}

TEST_F(LocalSocketTest, MovesBytesBothWaysWithoutWaiting) {
    const Socket accepted = Pair();
    ASSERT_TRUE(accepted);
    char buffer[16];
    EXPECT_EQ(Receive(accepted.Handle(), buffer, sizeof buffer), kLater);
    EXPECT_EQ(write(program, "abc", 3), 3);
    EXPECT_TRUE(WaitUntilReadable(accepted.Handle(), kLong));
    EXPECT_EQ(Receive(accepted.Handle(), buffer, 2), 2);
    EXPECT_EQ(Receive(accepted.Handle(), buffer, sizeof buffer), 1);
    EXPECT_TRUE(WaitUntilWritable(accepted.Handle(), kLong));
    EXPECT_EQ(Send(accepted.Handle(), "defg", 4), 4);
    EXPECT_EQ(read(program, buffer, sizeof buffer), 4);
}

TEST_F(LocalSocketTest, FullFarEndIsLaterNotNever) {
    const Socket accepted = Pair();
    const std::string much(1 << 20, 'x');
    std::size_t sent = 0;
    std::ptrdiff_t count = 0;
    while ((count = Send(accepted.Handle(), much.data(), much.size())) > 0) {
        sent += static_cast<std::size_t>(count);
    }
    EXPECT_EQ(count, kLater);
    EXPECT_FALSE(WaitUntilWritable(accepted.Handle(), milliseconds(0)));
    std::string got(sent, '\0');
    std::size_t read = 0;
    while (read < sent) {
        const ssize_t some = ::read(program, got.data(), got.size());
        ASSERT_GT(some, 0);
        read += static_cast<std::size_t>(some);
    }
    EXPECT_TRUE(WaitUntilWritable(accepted.Handle(), kLong));
    EXPECT_GT(Send(accepted.Handle(), "y", 1), 0);
}

TEST_F(LocalSocketTest, FarEndThatSendsNoMoreStillGetsBytes) {
    const Socket accepted = Pair();
    shutdown(program, SHUT_WR);
    EXPECT_TRUE(WaitUntilReadable(accepted.Handle(), kLong));
    char buffer[4];
    EXPECT_EQ(Receive(accepted.Handle(), buffer, sizeof buffer), kEnded);
    EXPECT_EQ(Send(accepted.Handle(), "x", 1), 1);
    EXPECT_EQ(read(program, buffer, sizeof buffer), 1);
}

TEST_F(LocalSocketTest, FinishedAndClosedConnectionsEndBehindWhatWasSent) {
    Socket accepted = Pair();
    Send(accepted.Handle(), "last", 4);
    FinishSending(accepted.Handle());
    accepted.Close();
    char buffer[8];
    EXPECT_EQ(read(program, buffer, sizeof buffer), 4);
    EXPECT_EQ(read(program, buffer, sizeof buffer), 0);
}

TEST_F(LocalSocketTest, ConnectionThatIsResetBreaksAtItsFarEnd) {
    Socket accepted = Pair();
    accepted.Reset();
    char buffer[8];
    EXPECT_EQ(read(program, buffer, sizeof buffer), -1);
    EXPECT_EQ(errno, ECONNRESET);
}

TEST_F(LocalSocketTest, FarEndThatBrokeIsBroken) {
    const Socket accepted = Pair();
    const linger atOnce{1, 0};
    setsockopt(program, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close(program);
    program = -1;
    EXPECT_TRUE(WaitUntilReadable(accepted.Handle(), kLong));
    char buffer[4];
    EXPECT_EQ(Receive(accepted.Handle(), buffer, sizeof buffer), kBroken);
    EXPECT_EQ(Send(accepted.Handle(), "x", 1), kBroken);  // and no signal ends the program
    EXPECT_EQ(LastNetworkError(), static_cast<uint32_t>(EPIPE));
}

TEST_F(LocalSocketTest, NoSocketIsInherited) {
    const Socket accepted = Pair();
    for (const SocketHandle socket : {listener.Handle(), accepted.Handle()}) {
        EXPECT_NE(fcntl(static_cast<int>(socket), F_GETFD) & FD_CLOEXEC, 0);
    }
}

TEST_F(LocalSocketTest, SocketsAreOwnedByOne) {
    Socket one(Listen(0, port));
    const SocketHandle handle = one.Handle();
    Socket other(std::move(one));
    EXPECT_EQ(other.Handle(), handle);
    EXPECT_FALSE(one);  // NOLINT(bugprone-use-after-move)
    listener = std::move(other);
    EXPECT_EQ(listener.Handle(), handle);
    Socket* const same = &listener;
    listener = std::move(*same);
    EXPECT_EQ(listener.Handle(), handle);
    listener.Reset();
    EXPECT_FALSE(listener);
    listener.Reset();
}

TEST_F(LocalSocketTest, EveryFailureOfListeningIsToldAndLeavesNothingOpen) {
    const std::size_t before = OpenFiles();
    for (const char* const call : {"socket", "setsockopt", "bind", "listen", "getsockname"}) {
        failures[call] = ENOBUFS;
        uint16_t taken = 0;
        EXPECT_EQ(Listen(0, taken), kNoSocket) << call;
        EXPECT_EQ(LastNetworkError(), static_cast<uint32_t>(ENOBUFS)) << call;
        EXPECT_EQ(taken, 0) << call;
        EXPECT_EQ(OpenFiles(), before) << call;
    }
}

TEST_F(LocalSocketTest, FailuresOfAConnectionAreTold) {
    program = Connect(port);
    failures["accept4"] = EMFILE;
    EXPECT_EQ(Accept(listener.Handle()), kNoSocket);
    const Socket accepted(Accept(listener.Handle()));
    ASSERT_TRUE(accepted);
    char buffer[4];
    for (const int code : {EINTR, EAGAIN}) {
        failures["recv"] = failures["send"] = code;
        EXPECT_EQ(Receive(accepted.Handle(), buffer, sizeof buffer), kLater);
        EXPECT_EQ(Send(accepted.Handle(), "x", 1), kLater);
    }
    failures["recv"] = failures["send"] = ENOMEM;
    EXPECT_EQ(Receive(accepted.Handle(), buffer, sizeof buffer), kBroken);
    EXPECT_EQ(Send(accepted.Handle(), "x", 1), kBroken);
    EXPECT_EQ(LastNetworkError(), static_cast<uint32_t>(ENOMEM));
    failures["poll"] = EINTR;
    EXPECT_FALSE(WaitUntilWritable(accepted.Handle(), kLong));
}

}  // namespace
