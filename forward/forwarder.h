#pragma once

#include "centrelink.h"
#include "deliverednotes.h"
#include "delivery.h"
#include "forwardsettings.h"
#include "limitedlog.h"
#include "necessity.h"
#include "registercarrier.h"
#include "sourcechoice.h"
#include "sourcefile.h"

#include <memory>

/// Follows the daemon's rows and delivers them. One pass after the other; between them the caller waits.
class Forwarder final {
public:
    explicit Forwarder(const ForwardSettings& settings);

    /// Delivers all that is there. True when all of it is at the centre; else Problem() says why, and the log does,
    /// once for each reason.
    [[nodiscard]] bool Pass();

    [[nodiscard]] QString Problem() const { return problem; }

    /// How long to wait after the last pass, ms: longer after each one that failed, up to a minute.
    [[nodiscard]] unsigned int PauseMs() const;

private:
    [[nodiscard]] QString Work();
    [[nodiscard]] QString Meet();
    [[nodiscard]] QString ChooseSource();
    [[nodiscard]] QString KnownSources(QList<SourceChoice::Known>& known);
    [[nodiscard]] QString Begin(const SourceChoice::Choice& choice);
    [[nodiscard]] SourceChoice::Evidence File();
    [[nodiscard]] QString DeliverTable(std::size_t table);
    [[nodiscard]] QString TellCentre();
    void TellOfDead(std::size_t table, const SourceRow& row, const QString& reason);
    void NoteHowFar(std::size_t table, const Mark& mark);

    const ForwardSettings settings;
    SourceFile file;
    DeliveredNotes notes;
    CentreLink centre;
    std::unique_ptr<Delivery> delivery; ///< while the connection lasts and the file stays the same
    RegisterCarrier registers;
    LimitedLog deadLines;
    Necessity working;
    QString problem;
    int failures = 0; ///< one after the other
    qint64 toldCentre = 0; ///< on the monotonic clock, ms; 0: not yet
};
