#pragma once

#include "meteranswer.h"

#include <QByteArray>
#include <QObject>
#include <QString>

/// The CE301 meter's text dialect (IEC 61107 style): checksum and answers. Its fixed requests are in
/// ce301messages.h. The daemon calls the static functions alone: that there can be objects is part of the given
/// interface.
class TCounter_CE301 : public QObject {
    Q_OBJECT

public:
    explicit TCounter_CE301(QObject* parent);

    /// Block check: 7-bit sum of `data`, the bytes after SOH up to and including ETX. Not the standard's exclusive-or:
    /// the installed meters are addressed with this one.
    [[nodiscard]] static quint8 GetCRC(QByteArray data);

    /// Reads the five registers, kWh, out of an energy answer: the text between STX and ETX. The block check behind it
    /// is not checked. `total` is first set to the marker 3.14159f ("not read"); see ReadRegisters() for the rest.
    static bool ReceivePack(QByteArray pack, float& total, float& t1, float& t2, float& t3, float& t4);

    /// Reads the first five "ET0PE(...)" of `text`; anything may stand between them. A number is what
    /// QByteArrayView::toFloat() reads, with blanks around it, "nan" and "inf" too. Any other text, and a number beyond
    /// the range of a float, reads 0. For `total` that is accepted. For a tariff the result is false at once: its
    /// output is this 0, the outputs behind it keep their values. For a missing item the result is false, and its own
    /// output keeps its value as well.
    static bool ReadRegisters(QByteArrayView text, float& total, float& t1, float& t2, float& t3, float& t4);

    /// The text inside the first "TIME_(...)", decoded as UTF-8 and not looked into. On false `time` keeps its value.
    static bool ReceiveTime(QByteArray pack, QString& time);

    /// As ReceivePack().
    static bool DecodeEnergy(const QByteArray& frame, Energy& energy);

    /// Whether the byte behind ETX is the block check of the bytes behind STX up to ETX. False without those two.
    [[nodiscard]] static bool ChecksumIsRight(const QByteArray& frame);

    /// Energy where "ET" stands in `frame`, the clock where "TIME" does.
    [[nodiscard]] static MeterAnswer Read(const QByteArray& frame);

    /// The message to a node that asks its meter's clock.
    [[nodiscard]] static QByteArray TimeQuery(quint32 number);
};
