// Serial ports: the in-memory line in virtual time (line speed, time-outs, lost bytes) and a
// real pseudo-terminal, both behind the same CSerialComm.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "host/serial/serial_ports.h"
#include "platform/clock.h"
#include "platform/serial.h"
#include "platform/sync.h"

namespace {

using tarvo::host::Micros;
using tarvo::host::NowMicros;
using tarvo::host::SerialPeer;

// The packet link's time-outs: 100 ms between bytes, no total limit.
constexpr COMMTIMEOUTS kLinkTimeouts{100, 0, 0, 10, 100};

std::vector<BYTE> Bytes(std::size_t count, BYTE first = 0) {
    std::vector<BYTE> bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

// Reads from a peer until `count` bytes came or a read times out.
std::vector<BYTE> PeerRead(SerialPeer& peer, std::size_t count, DWORD timeoutMs) {
    std::vector<BYTE> got(count);
    std::size_t n = 0;
    while (n < count) {
        const std::size_t more = peer.Read(got.data() + n, count - n, timeoutMs);
        if (more == 0)
            break;
        n += more;
    }
    got.resize(n);
    return got;
}

class SerialTest : public ::testing::Test {
  protected:
    void TearDown() override { tarvo::host::ClearPortMap(); }
};

class VirtualSerialTest : public SerialTest {
  protected:
    // Opens "COM3:" on a fresh in-memory line with the link's settings.
    std::shared_ptr<SerialPeer> OpenLine(CSerialComm& port, bool modelSpeed, DWORD baud = 9600) {
        auto peer = tarvo::host::MapPortToMemory(L"COM3:", modelSpeed);
        EXPECT_TRUE(port.SetConfiguration(baud, 8, 0, 0, 1));
        EXPECT_TRUE(port.SetTimeouts(kLinkTimeouts));
        EXPECT_TRUE(port.Open(L"COM3:"));
        return peer;
    }

    tarvo::host::ScopedVirtualClock clock_{TTime(2024, 6, 1, 0, 0, 0)};
};

TEST_F(VirtualSerialTest, BytesCrossTheInMemoryLineBothWays) {
    CSerialComm port;
    auto peer = OpenLine(port, false);
    const std::vector<BYTE> request = Bytes(256);
    for (BYTE b : request)
        ASSERT_TRUE(port.PutByte(b));
    EXPECT_EQ(peer->Available(), 256u);
    EXPECT_EQ(PeerRead(*peer, 256, 0), request);

    const std::vector<BYTE> reply = Bytes(40, 0xC0);
    ASSERT_TRUE(peer->Write(reply.data(), reply.size()));
    EXPECT_EQ(port.NumberBytesInputBuffer(), 40u);
    BYTE first = 0;
    ASSERT_TRUE(port.GetByte(first));
    EXPECT_EQ(first, 0xC0);
    std::vector<BYTE> rest(39);
    EXPECT_EQ(port.Get(rest.data(), 39), 39u);
    EXPECT_EQ(rest, std::vector<BYTE>(reply.begin() + 1, reply.end()));
    EXPECT_EQ(NowMicros(), 0) << "an unmodelled line costs no time";

    // Settings made while open apply at once; impossible ones are refused.
    ASSERT_TRUE(port.SetConfiguration(1200, 8, 0, 0, 1));
    EXPECT_EQ(peer->Baud(), 1200u);
    EXPECT_FALSE(port.SetConfiguration(0, 8, 0, 0, 1));
    EXPECT_FALSE(port.SetConfiguration(9600, 9, 0, 0, 1));
    EXPECT_FALSE(port.SetConfiguration(9600, 8, 3, 0, 1));
    EXPECT_FALSE(port.SetConfiguration(9600, 8, 0, 0, 0));
    EXPECT_EQ(peer->Baud(), 1200u);
}

// A far end with no thread that echoes each byte the moment it arrives.
class EchoPeer : public tarvo::host::PassivePeer {
  public:
    explicit EchoPeer(SerialPeer& line) : line_(line) {}
    void CatchUp() override {
        BYTE bytes[64];
        const Micros now = NowMicros();
        const std::size_t n = line_.TakeArrivedBy(bytes, sizeof bytes, now);
        line_.WriteAt(bytes, n, now);
    }
    std::int64_t NextEvent() override { return line_.NextArrival(); }

  private:
    SerialPeer& line_;
};

// A passive far end is caught up before the port side looks, also twice at one instant when the
// line has no speed and what was just sent is there at once. Flushed bytes still count as
// having come back.
TEST_F(VirtualSerialTest, APassivePeerAnswersAtTheInstantAndFlushedBytesCountAsReceived) {
    tarvo::host::ResetPortTraffic();
    CSerialComm port;
    auto line = OpenLine(port, false);
    EchoPeer echo(*line);
    line->AttachPassive(&echo);
    ASSERT_TRUE(port.PutByte(0x41));
    EXPECT_EQ(port.NumberBytesInputBuffer(), 1u) << "echoed at the same instant";
    ASSERT_TRUE(port.PutByte(0x42));
    EXPECT_EQ(port.NumberBytesInputBuffer(), 2u);
    ASSERT_TRUE(port.FlushInput());
    EXPECT_EQ(port.NumberBytesInputBuffer(), 0u);
    line->AttachPassive(nullptr);
    const tarvo::host::PortTraffic traffic = tarvo::host::TrafficOf(L"COM3:");
    EXPECT_EQ(traffic.opens, 1u);
    EXPECT_EQ(traffic.bytesSent, 2u);
    EXPECT_EQ(traffic.bytesReceived, 2u) << "thrown away, but they came back";
    EXPECT_EQ(NowMicros(), 0);
}

// Writes down what it is shown, as "open", "sent 41", "received 41 42", "flushed", "closed".
class RecordingObserver : public tarvo::host::PortObserver {
  public:
    void Opened() override { seen.push_back("open"); }
    void Sent(std::span<const BYTE> bytes) override { seen.push_back("sent" + Hex(bytes)); }
    void Received(std::span<const BYTE> bytes) override { seen.push_back("received" + Hex(bytes)); }
    void Flushed() override { seen.push_back("flushed"); }
    void SendFailed() override { seen.push_back("send failed"); }
    void Closed() override { seen.push_back("closed"); }
    std::vector<std::string> seen;

  private:
    static std::string Hex(std::span<const BYTE> bytes) {
        std::string text;
        for (BYTE b : bytes) {
            char hex[4];
            std::snprintf(hex, sizeof hex, " %02X", b);
            text += hex;
        }
        return text;
    }
};

// The port side's calls are shown in the order they were made, a port keeps the observer it
// opened with, and one opened after the observer was removed shows nothing.
TEST_F(VirtualSerialTest, AnObserverSeesThePortSideInOrderUntilItIsRemoved) {
    auto observer = std::make_shared<RecordingObserver>();
    tarvo::host::ObservePort(L"COM3:", observer);
    {
        CSerialComm port;
        auto line = OpenLine(port, false);
        EchoPeer echo(*line);
        line->AttachPassive(&echo);
        ASSERT_TRUE(port.PutByte(0x41));
        BYTE got = 0;
        ASSERT_TRUE(port.GetByte(got));
        ASSERT_TRUE(port.PutByte(0x42));
        ASSERT_TRUE(port.FlushInput());
        tarvo::host::ObservePort(L"COM3:", nullptr);
        ASSERT_TRUE(port.PutByte(0x43)) << "still observed: it opened with the observer";
        line->AttachPassive(nullptr);
        ASSERT_TRUE(port.Close());
        EXPECT_FALSE(port.PutByte(0x44)) << "closed: nothing is sent, nothing shown";
        ASSERT_TRUE(port.Open());
        ASSERT_TRUE(port.PutByte(0x45));
    }
    EXPECT_EQ(observer->seen, (std::vector<std::string>{"open", "sent 41", "received 41", "sent 42",
                                                        "flushed", "sent 43", "closed"}));
}

TEST_F(VirtualSerialTest, AnExchangeCostsTheLineTimeOfEveryByteAtTheConfiguredBaud) {
    struct Row {
        const char* legend;
        bool modelSpeed;
        DWORD baud;
        Micros expected;  // 20 bytes of 10 bits each
    };
    const Row rows[] = {
        {"9600 baud", true, 9600, 20833},
        {"1200 baud", true, 1200, 166667},
        {"115200 baud", true, 115200, 1736},
        {"line speed not modelled", false, 9600, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        CSerialComm port;
        auto peer = OpenLine(port, row.modelSpeed, row.baud);
        // The transmitter's side: take a 10-byte request, answer with 10 bytes.
        TThread transmitter(
            [&peer] {
                if (PeerRead(*peer, 10, 5000).size() == 10)
                    peer->Write(Bytes(10, 0x80).data(), 10);
            },
            "transmitter");
        const Micros start = NowMicros();
        for (int i = 0; i < 9; ++i)
            ASSERT_TRUE(port.PutByte(static_cast<BYTE>(i)));
        ASSERT_TRUE(port.WaitForTxEmpty(9));
        const Micros sent = NowMicros() - start;
        std::vector<BYTE> reply(10);
        EXPECT_EQ(port.Get(reply.data(), 10), 10u);
        EXPECT_EQ(reply, Bytes(10, 0x80));
        // The clock counts whole microseconds: each of the two turns may round up once.
        EXPECT_NEAR(static_cast<double>(NowMicros() - start), row.expected, 2.0);
        EXPECT_NEAR(static_cast<double>(sent), row.expected / 2.0, 1.0)
            << "WaitForTxEmpty returns as the last byte arrives";
    }
}

TEST_F(VirtualSerialTest, ReadsEndOnTheirTimeOutsInClockTime) {
    struct Row {
        const char* legend;
        COMMTIMEOUTS timeouts;
        std::vector<DWORD> gaps;  // ms before each byte the peer sends
        DWORD requested;          // 0: one GetByte
        DWORD received;
        Micros endsAt;
    };
    const Row rows[] = {
        {"interval limits the wait for the first byte", {100, 0, 0, 0, 0}, {}, 1, 0, 100000},
        {"GetByte is a one-byte read under the same limits", kLinkTimeouts, {}, 0, 0, 100000},
        {"interval restarts with every byte", {100, 0, 0, 0, 0}, {60, 90, 99, 101}, 8, 3, 349000},
        {"total is multiplier per byte plus constant", {0, 10, 50, 0, 0}, {}, 5, 0, 100000},
        {"total ends a trickle", {100, 0, 250, 0, 0}, {80, 80, 80, 80}, 8, 3, 250000},
        {"all bytes before the limits return at once", {100, 10, 50, 0, 0}, {20, 20}, 2, 2, 40000},
        {"MAXDWORD interval alone returns what is there", {0xFFFFFFFF, 0, 0, 0, 0}, {}, 4, 0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        CSerialComm port;
        auto peer = OpenLine(port, false);
        ASSERT_TRUE(port.SetTimeouts(row.timeouts));
        const Micros start = NowMicros();
        TThread sender(
            [&] {
                for (DWORD gap : row.gaps) {
                    Sleep(gap);
                    peer->Write(Bytes(1).data(), 1);
                }
            },
            "sender");
        std::vector<BYTE> buffer(std::max<DWORD>(row.requested, 1));
        EXPECT_EQ(
            row.requested ? port.Get(buffer.data(), row.requested) : DWORD{port.GetByte(buffer[0])},
            row.received);
        EXPECT_EQ(NowMicros() - start, row.endsAt);
    }
}

// Bytes sent while the port is closed, or still on the wire when it closes, are lost; a closed
// port neither sends nor receives.
TEST_F(VirtualSerialTest, BytesSentTowardsAClosedPortAreLost) {
    auto peer = tarvo::host::MapPortToMemory(L"COM4:", true);
    const std::vector<BYTE> bytes = Bytes(5, 1);
    EXPECT_TRUE(peer->Write(bytes.data(), bytes.size())) << "nobody listens, nothing fails";
    CSerialComm port;
    ASSERT_TRUE(port.SetTimeouts({0xFFFFFFFF, 0, 0, 0, 0}));
    ASSERT_TRUE(port.Open(L"COM4:"));
    Sleep(50);
    EXPECT_EQ(port.NumberBytesInputBuffer(), 0u);

    ASSERT_TRUE(peer->Write(bytes.data(), bytes.size()));
    ASSERT_TRUE(port.Close());
    EXPECT_FALSE(peer->PortIsOpen());
    Sleep(50);
    ASSERT_TRUE(port.Open());
    EXPECT_EQ(port.NumberBytesInputBuffer(), 0u);
    ASSERT_TRUE(peer->Write(bytes.data(), bytes.size()));
    Sleep(50);
    EXPECT_EQ(port.NumberBytesInputBuffer(), 5u) << "while it is open, they arrive";

    ASSERT_TRUE(port.Close());
    BYTE b = 0;
    EXPECT_FALSE(port.PutByte(b));
    EXPECT_FALSE(port.GetByte(b));
    EXPECT_EQ(peer->Available(), 0u);
}

TEST_F(VirtualSerialTest, FlushInputDropsWhatHasArrivedButNotWhatIsStillOnTheWire) {
    CSerialComm port;
    auto peer = OpenLine(port, true);
    const std::vector<BYTE> burst = Bytes(10, 0x30);
    ASSERT_TRUE(peer->Write(burst.data(), burst.size()));
    Sleep(5);  // 4 bytes of 1.04 ms have arrived by now
    EXPECT_EQ(port.NumberBytesInputBuffer(), 4u);
    ASSERT_TRUE(port.FlushInput());
    EXPECT_EQ(port.NumberBytesInputBuffer(), 0u);
    std::vector<BYTE> rest(6);
    EXPECT_EQ(port.Get(rest.data(), 6), 6u);
    EXPECT_EQ(rest, std::vector<BYTE>(burst.begin() + 4, burst.end()));
}

TEST_F(VirtualSerialTest, APeerReadWaitsInClockTimeUntilDataATimeOutOrAWake) {
    CSerialComm port;
    auto peer = OpenLine(port, false);
    BYTE buffer[4];
    Micros start = NowMicros();
    EXPECT_EQ(peer->Read(buffer, 4, 300), 0u);
    EXPECT_EQ(NowMicros() - start, 300000) << "the time-out ends it";
    for (const bool wake : {false, true}) {
        SCOPED_TRACE(wake ? "a wake ends an endless wait" : "data ends it");
        start = NowMicros();
        TThread other(
            [&] {
                Sleep(100);
                wake ? peer->Wake() : void(port.PutByte(0x42));
            },
            "other side");
        EXPECT_EQ(peer->Read(buffer, 4, INFINITE), wake ? 0u : 1u);
        EXPECT_EQ(NowMicros() - start, 100000);
    }
    // A wake with no read pending stops the next one at once.
    peer->Wake();
    start = NowMicros();
    EXPECT_EQ(peer->Read(buffer, 1, 1000), 0u);
    EXPECT_EQ(NowMicros(), start);
}

TEST_F(SerialTest, ANameThatMapsToNothingOrToNoTerminalFailsWithAWarningNamingThePort) {
    tarvo::host::SetStderrLevel(TReportLevel::Error, false);
    tarvo::host::MapPortToDevice(L"COM6:", "/nonexistent/ttyS9");
    tarvo::host::MapPortToDevice(L"COM7:", "/dev/null");
    tarvo::host::MapPortToMemory(L"COM8:");
    tarvo::host::UnmapPort(L"COM8:");
    tarvo::host::MapPortToMemory(L"COM2:");
    CSerialComm busy;
    ASSERT_TRUE(busy.Open(L"COM2:"));
    const std::pair<std::string, std::string> rows[] = {
        {"COM9:", "no device or line is mapped to that name"},
        {"COM6:", "/nonexistent/ttyS9: No such file or directory"},
        {"COM7:", "/dev/null: not a terminal"},
        {"COM8:", "no device or line is mapped to that name"},
        {"COM2:", "the port is already open"},
    };
    for (const auto& [name, reason] : rows) {
        SCOPED_TRACE(name);
        tarvo::host::LogCapture log;
        CSerialComm port;
        EXPECT_FALSE(port.Open(std::wstring(name.begin(), name.end())));
        EXPECT_FALSE(port.IsOpen());
        EXPECT_EQ(log.Texts(TReportLevel::Warning),
                  std::vector<std::string>{"CSerialComm: cannot open port \"" + name +
                                           "\": " + reason + "."});
        EXPECT_FALSE(port.PutByte(0));
        EXPECT_EQ(port.NumberBytesInputBuffer(), 0u);
    }
    tarvo::host::SetStderrLevel(TReportLevel::Warning);
}

// Raw mode matters here: XON/XOFF, CR, ^C and DEL would otherwise be eaten or changed.
TEST_F(SerialTest, EveryByteValueCrossesAPseudoTerminalUnchangedBothWays) {
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(::grantpt(master), 0);
    ASSERT_EQ(::unlockpt(master), 0);
    tarvo::host::MapPortToDevice(L"COM3:", ::ptsname(master));
    CSerialComm port;
    ASSERT_TRUE(port.SetConfiguration(9600, 8, 0, 0, 1));
    ASSERT_TRUE(port.SetTimeouts({1000, 0, 0, 10, 100}));
    ASSERT_TRUE(port.Open(L"COM3:"));

    const std::vector<BYTE> all = Bytes(256);
    ASSERT_EQ(::write(master, all.data(), all.size()), 256);
    std::vector<BYTE> received(256);
    EXPECT_EQ(port.Get(received.data(), 256), 256u);
    EXPECT_EQ(received, all);

    for (int i = 0; i < 255; ++i)
        ASSERT_TRUE(port.PutByte(all[i]));
    ASSERT_TRUE(port.WaitForTxEmpty(all[255]));
    // What the port sent, as read on the master side; bounded by the OS's own wait.
    std::vector<BYTE> sent;
    BYTE buffer[256];
    for (pollfd fd{master, POLLIN, 0}; sent.size() < 256 && ::poll(&fd, 1, 5000) == 1;) {
        const ssize_t n = ::read(master, buffer, sizeof buffer);
        if (n <= 0)
            break;
        sent.insert(sent.end(), buffer, buffer + n);
    }
    EXPECT_EQ(sent, all);

    // Flushing drops what waits in the input.
    ASSERT_EQ(::write(master, all.data(), 10), 10);
    BYTE b = 0;
    ASSERT_TRUE(port.GetByte(b));  // one write reaches the port in one piece
    EXPECT_EQ(port.NumberBytesInputBuffer(), 9u);
    ASSERT_TRUE(port.FlushInput());
    EXPECT_EQ(port.NumberBytesInputBuffer(), 0u);
    ASSERT_TRUE(port.SetTimeouts({0xFFFFFFFF, 0, 0, 0, 0}));
    EXPECT_FALSE(port.GetByte(b));
    port.Close();
    ::close(master);
}

}  // namespace
