#pragma once

#include "bcdclock.h"
#include "meteranswer.h"

#include <QByteArray>
#include <QObject>

/// The SET1 meter's answers: 0x82, a code, data. It knows one request, "P", for its clock. The daemon
/// calls static functions alone: that there can be objects, with Address and Number, is part of the given interface.
class TCounter_SET1 : public QObject {
    Q_OBJECT

public:
    TCounter_SET1(QObject* parent, unsigned short address, int number);

    /// The negated sum of the bytes, each taken as signed; 0 for no data. Its low byte is an answer's checksum.
    [[nodiscard]] static qint32 GetCRC(QByteArray data);

    // Part of the given interface; the daemon does not call these two. Both are always empty.
    [[nodiscard]] static QByteArray CreateDataQuery();
    [[nodiscard]] static QByteArray CreateQuery(unsigned char command, unsigned int meter);

    /// Takes an answer of at least 8 bytes apart. Code "P": `data` gets the 7 bytes behind it, or the 6 that are there,
    /// unchecked. Any other code: 12 bytes and their checksum, which covers neither the code nor what follows. On false
    /// `data` keeps its value; `code` does so only for an answer that is too short or does not begin with 0x82.
    static bool ReceivePack(QByteArray pack, unsigned char& code, QByteArray& data);

    /// The registers of an energy answer. On false `energy` keeps its values.
    static bool DecodeEnergy(const QByteArray& frame, Energy& energy);

    /// None for an answer that is damaged or tells no clock.
    [[nodiscard]] static std::optional<BcdClock> DecodeClock(const QByteArray& frame);

    /// What `frame` tells by its code.
    [[nodiscard]] static MeterAnswer Read(const QByteArray& frame);

    /// The message to a node that asks its meter's clock.
    [[nodiscard]] static QByteArray TimeQuery(quint32 number);

    const unsigned short Address;
    const int Number;
};
