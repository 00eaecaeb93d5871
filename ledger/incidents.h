#pragma once

#include "sweepoutcomes.h"

/// One cause for which readings are missing.
struct Incident {
    enum class Kind : quint8 {
        NoRows, ///< of due sweeps, or of half-finished ones: database away, daemon gone, or a sweep too long
        SweepsLeftOut, ///< one or two at a time, again and again: more is due than there is time for
        AllSilent, ///< node meters and substation meter at once
        ModemDeaf, ///< all node meters at once
        SubstationSilent,
        GroupSilent, ///< some node meters together
        NodeSilent,
    };

    Kind kind = Kind::NoRows;
    QDateTime since; ///< wall time: the first due sweep without a reading
    QDateTime until; ///< wall time: the due sweep that was good again; invalid: none was
    bool beganBefore = false; ///< the first sweep that was looked at had it already
    int times = 1; ///< stretches
    int sweeps = 0; ///< due sweeps in them
    QList<qsizetype> places; ///< of the meters concerned; none: all of the site
};

inline constexpr size_t KindsOfIncident = 7;

/// Finds the causes, one for each: what one cause explains is no sign of another. What it keeps grows with the due
/// sweeps and the silences, not with the rows. Meters whose answers are never stored, and meters that are not in the
/// register, are not looked at.
class Incidents final {
public:
    /// In order. `meters` by place.
    void Add(const SweepOutcome& outcome, const QList<LedgerMeter>& meters);

    /// By since.
    [[nodiscard]] QList<Incident> Findings() const;

    static constexpr int QuietHours = 24; ///< stretches of one cause with less between them are one finding
    static constexpr int LeastSweeps = 3; ///< in one stretch of one meter's silence, to be told
    static constexpr int LeastTimes = 5; ///< or that many stretches close together
    static constexpr int LeastTogether = 3; ///< common beginnings that make a group of nodes

private:
    enum class Whole : quint8 { Nothing, NoRows, Deaf };

    /// Due sweeps by their place in the order in which they were added.
    struct Stretch {
        qsizetype first = 0;
        qsizetype last = 0;
        int sweeps = 0;
        bool lasts = false; ///< no good sweep came after it
    };
    struct Silences {
        QList<Stretch> stretches;
        bool isOpen = false; ///< the last one goes on

        void Silent(qsizetype sweep);
        void Read();
    };
    struct Group {
        QList<qsizetype> places;
        QList<Stretch> stretches;
    };
    using ByPlace = QMap<qsizetype, QList<Stretch>>;

    [[nodiscard]] Whole LookAtNodes(const SweepOutcome& outcome, const QList<LedgerMeter>& meters);
    [[nodiscard]] QList<Stretch> Closed(const Silences& silences) const;
    [[nodiscard]] ByPlace NodeStretches() const;
    [[nodiscard]] QList<Group> TakeRecurringGroups(ByPlace& stretches) const;
    [[nodiscard]] QList<Group> TakeSingleGroups(ByPlace& stretches) const;
    [[nodiscard]] Incident FindingOf(Incident::Kind kind, const QList<Stretch>& stretches) const;
    [[nodiscard]] QList<QList<Stretch>> Clusters(const QList<Stretch>& stretches) const;
    [[nodiscard]] bool IsNextToWhole(qsizetype sweep) const;
    [[nodiscard]] static bool IsTold(const QList<Stretch>& cluster);
    [[nodiscard]] static bool HaveOneCause(const QList<Stretch>& one, const QList<Stretch>& other);
    void AddWholes(QList<Incident>& findings) const;

    QList<QDateTime> due; ///< of each sweep
    QList<Whole> wholes; ///< of each sweep
    Silences noRows;
    Silences deaf;
    Silences substation;
    QMap<qsizetype, Silences> nodes; ///< by place
    QList<qsizetype> substations; ///< places
};
