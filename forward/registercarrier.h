#pragma once

#include "centrelink.h"
#include "deliverednotes.h"
#include "forwardsettings.h"
#include "necessity.h"
#include "sourcefile.h"

/// Keeps the register of the controller and that of the centre alike: the one that counts is carried to the other, as a
/// whole.
class RegisterCarrier final {
public:
    RegisterCarrier(const ForwardSettings& settings, SourceFile& file, DeliveredNotes& notes, CentreLink& centre);

    /// Looks whether something is to be done, and does it when it may be done. `version` is that of the centre's
    /// register. Empty, or why the centre failed.
    [[nodiscard]] QString Carry(const QByteArray& version);

private:
    struct Registers {
        QList<RegisterRow> atCentre;
        QByteArray version; ///< of these
        QString problem;
    };
    [[nodiscard]] Registers Read();
    [[nodiscard]] QString Up(const QList<RegisterRow>& rows);
    void Down(const Registers& registers, const QList<RegisterRow>& local);
    void LookForRows();
    [[nodiscard]] bool IsBetweenSweeps();
    void Refuse(const QString& why);
    void Done(const QByteArray& version, const QString& sentence);

    const ForwardSettings& settings;
    SourceFile& file;
    DeliveredNotes& notes;
    CentreLink& centre;
    Necessity trouble;
    QByteArray alike; ///< the version with which both were alike
    QList<RegisterRow> localThen; ///< and the local rows then
    std::array<qint64, 2> newest{-1, -1}; ///< rows of both tables
    qint64 newestSince = 0; ///< on the monotonic clock, ms
};
