#pragma once

#include <QHash>
#include <QList>
#include <QString>

/// What the rules must know of a meter.
struct LedgerMeter {
    qint32 globalId = 0;
    QString uin; ///< as in the register; a stranger's text, not yet made harmless
    QString number;
    QString model;
    bool isSubstation = false;
    bool hasTariffs = true; ///< four registers that make up the total
    bool clockTellsDate = true; ///< otherwise the clock's time of day alone
    bool answersStored = true; ///< false: the collector never stores a reading of this model
    bool inRegister = true; ///< false: known from its rows alone
};

/// Meters by their place: first those of the register, then the ones that only rows name, as they are met.
class MeterList final {
public:
    explicit MeterList(QList<LedgerMeter> registered);

    /// The place of the meter. One that is not known gets a place.
    [[nodiscard]] qsizetype PlaceOf(qint32 globalId);

    [[nodiscard]] const QList<LedgerMeter>& All() const { return meters; }

private:
    QList<LedgerMeter> meters;
    QHash<qint32, qsizetype> places;
};
