#pragma once

#include "completeness.h"
#include "incidents.h"
#include "meterclocks.h"
#include "plausibility.h"

/// What the ledger found, for programs and for people. A key is the same in every language and stays as it is. Texts of
/// strangers (UIN, model, number) are made harmless: no control or format characters, at most 200 characters each.
namespace LedgerWords {

[[nodiscard]] QLatin1StringView KeyOf(Gap gap);
[[nodiscard]] QLatin1StringView KeyOf(ReadingFinding::Kind kind);
[[nodiscard]] QLatin1StringView KeyOf(Incident::Kind kind);

/// A few words: "not delivered (3)".
[[nodiscard]] QString WordsOf(Gap gap);

/// All that there are: "not delivered (3): 5, no sweep: 2".
[[nodiscard]] QString WordsOf(const ReadingCounts& counts);

/// "12 (000D6F0000173425, SET3)".
[[nodiscard]] QString NameOf(const LedgerMeter& meter);

/// Without a full stop. `meters` by place.
[[nodiscard]] QString SentenceOf(const ReadingFinding& finding, const QList<LedgerMeter>& meters);
[[nodiscard]] QString SentenceOf(const MeterClock& clock, const QList<LedgerMeter>& meters);
[[nodiscard]] QString SentenceOf(const Incident& incident, const QList<LedgerMeter>& meters);

} // namespace LedgerWords
