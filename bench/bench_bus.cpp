// Frames a second through the connector, beside what the bare Unix socket of the same process does with the same sizes.

#include "connector.h"
#include "heap.h"
#include "localsocket.h"

#include <QCoreApplication>

#include <array>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Pair {
    Pair()
    {
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
            qFatal("no socket pair");
        near = ends[0];
        far = ends[1];
    }
    int near = -1;
    int far = -1;
};

// What fits into the socket's kernel buffer in one go.
qsizetype BatchFor(qsizetype size)
{
    return size > 4096 ? 2 : 200;
}

void WriteAll(int fd, const QByteArray& bytes)
{
    if (::write(fd, bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size())
        qFatal("short write");
}

void ReadAll(int fd, qsizetype expected)
{
    static std::vector<char> buffer(1 << 20);
    while (expected > 0) {
        const ssize_t got = ::read(fd, buffer.data(), buffer.size());
        if (got <= 0)
            qFatal("read failed");
        expected -= got;
    }
}

void Count(benchmark::State& state, qsizetype frames, qsizetype size)
{
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * frames);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * frames * size);
}

TMyLocalSocket* Adopt(int fd, TConnector& connector)
{
    auto* const socket = new TMyLocalSocket(&connector);
    socket->setSocketDescriptor(fd);
    connector.newInConnection(socket);
    return socket;
}

void RawSocket(benchmark::State& state)
{
    const Pair pair;
    const QByteArray frame = BusFrame::Encode(BusFrame::Data{1, QByteArray(state.range(0), 'x')});
    const qsizetype batch = BatchFor(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        for (qsizetype i = 0; i < batch; ++i)
            WriteAll(pair.far, frame);
        ReadAll(pair.near, batch * frame.size());
    }
    Count(state, batch, frame.size());
    ::close(pair.near);
    ::close(pair.far);
}

void Receive(benchmark::State& state)
{
    const Pair pair;
    TConnector connector;
    Adopt(pair.near, connector);
    qsizetype received = 0;
    QObject::connect(&connector, &TConnector::NewData, &connector, [&received] { ++received; });
    const QByteArray frame = BusFrame::Encode(BusFrame::Data{1, QByteArray(state.range(0), 'x')});
    const qsizetype batch = BatchFor(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        for (qsizetype i = 0; i < batch; ++i)
            WriteAll(pair.far, frame);
        for (received = 0; received < batch;)
            QCoreApplication::processEvents();
    }
    Count(state, batch, frame.size());
    ::close(pair.far);
}

void SendToAll(benchmark::State& state)
{
    const QByteArray payload(state.range(0), 'x');
    const qsizetype frameSize = BusFrame::Encode(BusFrame::Data{1, payload}).size();
    const auto peers = static_cast<size_t>(state.range(1));
    const qsizetype batch = BatchFor(state.range(0));
    TConnector connector;
    std::vector<Pair> pairs(peers);
    for (const Pair& pair : pairs)
        Adopt(pair.near, connector);
    for ([[maybe_unused]] auto _ : state) {
        for (qsizetype i = 0; i < batch; ++i)
            connector.SetDataAll(1, payload);
        for (const Pair& pair : pairs)
            ReadAll(pair.far, batch * frameSize);
    }
    Count(state, batch * static_cast<qsizetype>(peers), frameSize);
    for (const Pair& pair : pairs)
        ::close(pair.far);
}

// What a wait of the thread asks four times a second: whether a command has come on one of so many silent connections.
void LookAhead(benchmark::State& state)
{
    const auto peers = static_cast<size_t>(state.range(0));
    TConnector connector;
    const std::vector<Pair> pairs(peers);
    for (const Pair& pair : pairs)
        Adopt(pair.near, connector);
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(connector.CommandWaits("QuitSignal"));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
    for (const Pair& pair : pairs)
        ::close(pair.far);
}

BENCHMARK(RawSocket)->Arg(64)->Arg(65536);
BENCHMARK(Receive)->Arg(64)->Arg(65536);
BENCHMARK(LookAhead)->Arg(1)->Arg(100);
BENCHMARK(SendToAll)->ArgsProduct({{64, 65536}, {1, 10, 100}});

} // namespace

int main(int argc, char* argv[])
{
    KeepFreedHeap();
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
