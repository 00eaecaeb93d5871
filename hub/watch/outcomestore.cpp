// A code is two digits to the base of `Base`, one for each time that the sweep was due, the first one lowest: 0 nothing
// was due, 1 read, 2 late, from 3 on a gap.

#include "outcomestore.h"

#include <algorithm>

namespace {

constexpr int Read = 1;
constexpr int Late = 2;
constexpr int FirstGap = 3;
constexpr int Base = FirstGap + static_cast<int>(GapKinds);
static_assert(Base * Base <= 256);

constexpr std::array<char, GapKinds> GapLetters{'u', 's', 'n', 'd', 'h', 'x', 'z', 'k', '-', '_'};

struct Digits {
    std::array<int, 2> digits{};
    size_t count = 0;

    void Append(int digit)
    {
        if (count < digits.size())
            digits[count++] = digit;
    }
};

Digits DigitsOf(const ReadingCounts& counts)
{
    Digits found;
    for (int i = 0; i < counts.read; ++i)
        found.Append(i < counts.late ? Late : Read);
    for (size_t gap = 0; gap < GapKinds; ++gap)
        for (int i = 0; i < counts.gaps[gap]; ++i)
            found.Append(FirstGap + static_cast<int>(gap));
    return found;
}

std::array<int, 2> DigitsOf(char code)
{
    const int value = static_cast<quint8>(code);
    return {value % Base, value / Base};
}

int StatusOf(Gap gap)
{
    switch (gap) {
    case Gap::Undecodable:
    case Gap::SubstationSilent:
        return 1;
    case Gap::NoReading:
        return 2;
    case Gap::NotDelivered:
        return 3;
    case Gap::NothingHeard:
    case Gap::NotStored: // the meter's model says that, whatever the status
        return 255;
    case Gap::ZeroRow:
        return MeterOutcome::ZeroRow;
    case Gap::UnknownStatus:
    case Gap::NoRow:
    case Gap::NoSweep:
        return 4;
    }
    Q_UNREACHABLE();
}

bool HasRow(Gap gap)
{
    return gap != Gap::NoRow && gap != Gap::NoSweep;
}

char LetterOfDigit(int digit)
{
    switch (digit) {
    case 0:
        return '.';
    case Read:
        return 'r';
    case Late:
        return 'l';
    default:
        return GapLetters[static_cast<size_t>(digit - FirstGap)];
    }
}

OutcomeStore::Outcome Decoded(char code)
{
    OutcomeStore::Outcome outcome;
    size_t gaps = 0;
    for (const int digit : DigitsOf(code)) {
        outcome.due += digit == 0 ? 0 : 1;
        outcome.read += digit == Read || digit == Late ? 1 : 0;
        outcome.late += digit == Late ? 1 : 0;
        if (digit >= FirstGap && digit < Base)
            outcome.gaps[gaps++] = static_cast<Gap>(digit - FirstGap);
    }
    return outcome;
}

} // namespace

void OutcomeStore::Add(const SweepOutcome& outcome, const QList<LedgerMeter>& meters)
{
    if (!outcome.IsExpected())
        return;
    if (days.isEmpty() || days.constLast().date != outcome.due.at.date())
        days.append(Day{outcome.due.at.date(), {}});
    Completeness counting(0); // knows the reasons of gaps
    counting.Add(outcome, meters);
    const QList<DayCounts> counted = counting.Days();
    const QList<ReadingCounts>& counts = counted.constFirst().meters;
    Sweep sweep{outcome.due, outcome.stamps, outcome.made, QByteArray(counts.size(), '\0')};
    for (qsizetype place = 0; place < counts.size(); ++place) {
        const auto [digits, count] = DigitsOf(counts[place]);
        sweep.meters[place] = static_cast<char>(digits[0] + Base * digits[1]);
    }
    days.last().sweeps.append(sweep);
}

OutcomeStore::Outcome OutcomeStore::OutcomeOf(char code)
{
    static const auto outcomes = [] { // hundreds of thousands are asked for at a time
        std::array<Outcome, 256> all;
        for (size_t i = 0; i < all.size(); ++i)
            all[i] = Decoded(static_cast<char>(i));
        return all;
    }();
    return outcomes[static_cast<quint8>(code)];
}

char OutcomeStore::LetterOf(char code)
{
    const auto digits = DigitsOf(code);
    return LetterOfDigit(std::max(digits[0], digits[1]));
}

char OutcomeStore::LetterOf(Gap gap)
{
    return GapLetters[static_cast<size_t>(gap)];
}

SweepOutcome OutcomeStore::Unpacked(const Sweep& sweep, const QList<LedgerMeter>& meters)
{
    SweepOutcome outcome;
    outcome.due = sweep.due;
    outcome.stamps = sweep.stamps;
    outcome.made = sweep.made;
    outcome.meters.resize(meters.size());
    for (qsizetype place = 0; place < sweep.meters.size(); ++place) {
        const Outcome packed = OutcomeOf(sweep.meters[place]);
        MeterOutcome& meter = outcome.meters[place];
        meter.isExpected = packed.due > 0;
        meter.read = static_cast<quint8>(packed.read);
        meter.late = static_cast<quint8>(packed.late);
        for (const std::optional<Gap> gap : packed.gaps)
            if (gap && HasRow(*gap)) {
                ++meter.silent;
                meter.status = StatusOf(*gap);
            }
    }
    return outcome;
}
