#include "ledgermeters.h"

#include "metermodel.h"

QList<LedgerMeter> LedgerMetersOf(const QList<RegisterRow>& rows, bool ce102Stored)
{
    QList<LedgerMeter> meters;
    for (const RegisterRow& row : rows) {
        LedgerMeter meter;
        meter.globalId = row.globalId.toInt();
        meter.uin = row.uin;
        meter.number = row.number;
        meter.model = row.model;
        meter.isSubstation = row.type.trimmed() == QLatin1StringView("1");
        if (const MeterModel* const model = FindMeterModel(row.model)) {
            meter.hasTariffs = model->hasTariffs;
            meter.clockTellsDate = model->clockTellsDate;
            meter.answersStored = model->read && (model->answersStored || ce102Stored);
        }
        meters.append(meter);
    }
    return meters;
}
