#pragma once

#include <QStringList>

class SettingsFile;

/// What the group "Field" of the settings switches on beside the default conduct. Without that group nothing is.
class FieldConduct final {
public:
    /// Each has the name that the setting "Remedies" gives it.
    enum Remedy : quint32 {
        Reports = 1U << 0, ///< delivery reports are matched by the modem's numbers
        Ntp = 1U << 1, ///< a time sweep goes on without the time daemon
        Ce102 = 1U << 2, ///< the energy answers of CE102 meters are stored
        Order = 1U << 3, ///< no sweep takes another over
        Schedule = 1U << 4, ///< each due minute counts once
        Stamps = 1U << 5, ///< an answer belongs to the sweep that asked for it
        Fragments = 1U << 6, ///< what is left of a node's earlier answers goes when it is read out
        Digits = 1U << 7, ///< energies are stored with nine digits
        Substation = 1U << 8, ///< only a substation meter that is registered is tried
        Clocks = 1U << 9, ///< clocks are set by model
        Numbers = 1U << 10, ///< "Send_counters_numbers" sends them
        Alarms = 1U << 11, ///< an opened case is told whatever is around it
        Texts = 1U << 12, ///< clock texts are short, printable and asked for
        Bus = 1U << 13, ///< the bus comes up without absent peers and outlives its administrator
        Memory = 1U << 14, ///< what strangers on the air claim of the memory is bounded
        Modem = 1U << 15, ///< a modem that was away, or is silent, is started anew
        Checksums = 1U << 16, ///< checksums that are optional otherwise are required; not part of "all"
    };

    FieldConduct() = default;

    /// Reads the keys of the group: "Remedies" is blank, "all", or names separated by blanks; "Pacing" is "fixed" or
    /// "answers"; "Window" is 1 to 8. A name that is none, and a value that is neither, are among the value problems of
    /// `settings`; the other names, and the defaults, hold.
    [[nodiscard]] static FieldConduct Read(SettingsFile& settings);

    [[nodiscard]] bool Has(Remedy remedy) const { return (remedies & remedy) != 0; }

    /// Whether what is sent to a node goes on with what comes back of it, instead of fixed pauses. Reports then holds
    /// too: a report must find its message.
    [[nodiscard]] bool PacedByAnswers() const { return window > 0; }

    /// How many nodes may be on their way at once, 1 to 8; 0 with fixed pauses.
    [[nodiscard]] int Window() const { return window; }

    static constexpr int DefaultWindow = 4;
    static constexpr int MostInWindow = 8;

    /// For a test: as Read() of that text, with a window for pacing by answers.
    [[nodiscard]] static FieldConduct Of(const QString& names, QStringList& unknown, int window = 0);

    /// Every name that "Remedies" may hold, "all" first.
    [[nodiscard]] static QStringList Names();

private:
    quint32 remedies = 0;
    int window = 0;
};
