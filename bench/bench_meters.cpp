#include "ce102.h"
#include "ce301.h"
#include "meteranswers.h"
#include "nodeframe.h"
#include "set1.h"
#include "set3.h"

#include <array>

#include <benchmark/benchmark.h>

namespace {

// Blocks taken from the heap so far. QByteArray takes its block with malloc, so operator new alone would not see it.
size_t allocations = 0;

} // namespace

#ifndef __SANITIZE_ADDRESS__
// NOLINTBEGIN(bugprone-reserved-identifier): the C library's own names for what is wrapped here.
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);
// NOLINTEND(bugprone-reserved-identifier)

extern "C" void* malloc(size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

extern "C" void* realloc(void* block, size_t size)
{
    ++allocations;
    return __libc_realloc(block, size);
}
#endif

namespace {

using namespace MeterAnswers;

constexpr Tariffs Registers{10000, 2000000, 30, 40000000};

/// Runs `decode`, counts what it takes from the heap, and ends the benchmark where it refuses.
template <class Decode>
void Measure(benchmark::State& state, Decode decode)
{
    const size_t before = allocations;
    for (auto _ : state) {
        if (!decode()) {
            state.SkipWithError("refused");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations - before), benchmark::Counter::kAvgIterations);
}

void DecodeCE102(benchmark::State& state)
{
    const QByteArray pack = EnergyCE102(0x1234, 0xC0DB);
    bool answer = false;
    quint16 address2 = 0;
    quint16 address1 = 0;
    quint16 command = 0;
    QByteArray data;
    Measure(state, [&] { return TCounter_CE102::ReceivePack(pack, answer, address2, address1, command, data); });
}
BENCHMARK(DecodeCE102);

void DecodeCE301(benchmark::State& state)
{
    const QByteArray pack = EnergyCE301(Registers);
    std::array<float, 5> kWh{};
    Measure(state, [&] { return TCounter_CE301::ReceivePack(pack, kWh[0], kWh[1], kWh[2], kWh[3], kWh[4]); });
}
BENCHMARK(DecodeCE301);

void DecodeSET1(benchmark::State& state)
{
    const QByteArray pack = EnergySET1(Registers);
    quint8 code = 0;
    QByteArray data;
    Measure(state, [&] { return TCounter_SET1::ReceivePack(pack, code, data); });
}
BENCHMARK(DecodeSET1);

void DecodeSET3(benchmark::State& state)
{
    const QByteArray pack = EnergySET3(0x123456, Registers);
    quint32 meter = 0;
    quint8 code = 0;
    QByteArray data;
    Measure(state, [&] { return TCounter_SET3::ReceivePack(pack, meter, code, data); });
}
BENCHMARK(DecodeSET3);

void DecodeNodeFrame(benchmark::State& state)
{
    const QByteArray frame = NodeFrame::ToC0C1(EnergySET3(0x123456, Registers));
    QByteArray rest;
    Measure(state, [&] { return !NodeFrame::FromC0C1(frame, rest).isEmpty(); });
}
BENCHMARK(DecodeNodeFrame);

// Growth with the frame's length: all of these are linear.

void LongNodeFrame(benchmark::State& state)
{
    const QByteArray frame = NodeFrame::ToC0C1(QByteArray(state.range(), '\x7D'));
    QByteArray rest;
    Measure(state, [&] { return !NodeFrame::FromC0C1(frame, rest).isEmpty(); });
    state.SetComplexityN(state.range());
}
BENCHMARK(LongNodeFrame)->Range(256, 1 << 18)->Complexity();

void LongCE102(benchmark::State& state)
{
    const QByteArray query = TCounter_CE102(nullptr, 1, 2).CreateQuery(0x0130, QByteArray(state.range(), '\xDB'));
    bool answer = false;
    quint16 address2 = 0;
    quint16 address1 = 0;
    quint16 command = 0;
    QByteArray data;
    Measure(state, [&] { return !TCounter_CE102::ReceivePack(query, answer, address2, address1, command, data); });
    state.SetComplexityN(state.range());
}
BENCHMARK(LongCE102)->Range(256, 1 << 18)->Complexity();

void LongCE301(benchmark::State& state)
{
    QByteArray pack = EnergyCE301(Registers);
    pack.insert(1, QByteArray(state.range(), 'E'));
    std::array<float, 5> kWh{};
    Measure(state, [&] { return TCounter_CE301::ReceivePack(pack, kWh[0], kWh[1], kWh[2], kWh[3], kWh[4]); });
    state.SetComplexityN(state.range());
}
BENCHMARK(LongCE301)->Range(256, 1 << 18)->Complexity();

void LongSET3(benchmark::State& state)
{
    const QByteArray pack = '\x82' + QByteArray(state.range(), '\0'); // The CRC of zeros is zero.
    quint32 meter = 0;
    quint8 code = 0;
    QByteArray data;
    Measure(state, [&] { return TCounter_SET3::ReceivePack(pack, meter, code, data); });
    state.SetComplexityN(state.range());
}
BENCHMARK(LongSET3)->Range(256, 1 << 18)->Complexity();

} // namespace

BENCHMARK_MAIN();
