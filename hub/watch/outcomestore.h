#pragma once

#include "completeness.h"

/// Outcomes of due sweeps, small: one byte for each meter and sweep. Copies share the days that they have in common.
class OutcomeStore final {
public:
    /// In order. `meters` by place.
    void Add(const SweepOutcome& outcome, const QList<LedgerMeter>& meters);

    struct Sweep {
        DueSweep due;
        QList<QDateTime> stamps; ///< of the sweeps that count for it
        int made = 0; ///< how often it was swept
        QByteArray meters; ///< by place, a code each; may be shorter than the list of meters
    };
    struct Day {
        QDate date;
        QList<Sweep> sweeps;
    };
    [[nodiscard]] const QList<Day>& Days() const { return days; }

    /// What a code says: so many readings were due, so many came, late ones among them, and why the others did not.
    struct Outcome {
        int due = 0; ///< 0: the meter was not expected
        int read = 0;
        int late = 0;
        std::array<std::optional<Gap>, 2> gaps; ///< one for each that is not there
    };
    [[nodiscard]] static Outcome OutcomeOf(char code);

    /// For a person or a table of letters: "." not expected, "r" read, "l" late, else a letter for the gap. Where two
    /// readings were due, a gap comes before a reading.
    [[nodiscard]] static char LetterOf(char code);
    [[nodiscard]] static char LetterOf(Gap gap);

    /// So that Completeness counts the same of it as of the one that was added.
    [[nodiscard]] static SweepOutcome Unpacked(const Sweep& sweep, const QList<LedgerMeter>& meters);

private:
    QList<Day> days;
};
