#include "modemparser.h"
#include "zdevice.h"

#include <QStringList>

#include <random>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray Uin(int number)
{
    return QByteArray::number(0x000D6F0000000000 + number, 16).toUpper().rightJustified(16, '0');
}

/// `messages` unicasts of 50 bytes from nodes spread evenly over `nodes`.
QByteArray Unicasts(int messages, int nodes)
{
    QByteArray chunk;
    for (int i = 0; i < messages; ++i)
        chunk += "\r\nUCAST:" + Uin(i % nodes * 7919 % nodes) + ",32=" + QByteArray(50, 'x') + "\r\n";
    return chunk;
}

void Parse(benchmark::State& state, const QByteArray& chunk, int nodes)
{
    ZDevice table("000D6F0000FFFFFF"_ba, u"Main Device"_s);
    for (int i = 0; i < nodes; ++i)
        table.AddDevice(Uin(i), u"FFD:"_s);
    while (state.KeepRunning())
        ParseModemChunk(
            chunk, [&](const QByteArray& uin) { return table.Find(uin) != nullptr; },
            [](const ModemEvent::Any& event) { benchmark::DoNotOptimize(&event); });
    state.SetBytesProcessed(state.iterations() * chunk.size());
    table.DeleteAllDevices();
}

void Noise(benchmark::State& state)
{
    std::mt19937 random(1);
    QByteArray noise(static_cast<qsizetype>(state.range(0)), Qt::Uninitialized);
    for (char& byte : noise)
        byte = static_cast<char>(random());
    Parse(state, noise, 100);
}
BENCHMARK(Noise)->ArgName("bytes")->Arg(1'000)->Arg(1'000'000);

void KnownNodes(benchmark::State& state)
{
    const auto messages = static_cast<int>(state.range(0));
    const auto nodes = static_cast<int>(state.range(1));
    Parse(state, Unicasts(messages, nodes), nodes);
    state.SetItemsProcessed(state.iterations() * messages);
}
BENCHMARK(KnownNodes)
    ->ArgNames({"messages", "nodes"})
    ->Args({1'000, 100})
    ->Args({1'000, 1'000})
    ->Args({1'000, 10'000})
    ->Args({10'000, 100})
    ->Args({10'000, 10'000});

void NewNodes(benchmark::State& state)
{
    const auto nodes = static_cast<int>(state.range(0));
    QByteArray chunk;
    for (int i = 0; i < nodes; ++i)
        chunk += "\r\nFFD:" + Uin(i) + "\r\n";
    while (state.KeepRunning()) {
        ZDevice table("000D6F0000FFFFFF"_ba, u"Main Device"_s);
        ParseModemChunk(
            chunk, [&](const QByteArray& uin) { return table.Find(uin) != nullptr; },
            [&](const ModemEvent::Any& event) {
                const auto& node = std::get<ModemEvent::NodeFound>(event);
                table.AddDevice(node.uin, node.type);
            });
        table.DeleteAllDevices();
    }
    state.SetItemsProcessed(state.iterations() * nodes);
}
BENCHMARK(NewNodes)->ArgName("nodes")->Arg(1'000)->Arg(10'000);

} // namespace

BENCHMARK_MAIN();
