#pragma once

#include "bcdclock.h"
#include "meteranswer.h"

#include <QByteArray>
#include <QObject>

/// The SET3 meter's binary frames, checked by a CRC-16. The daemon calls static functions alone: that there can be
/// objects, with Address and Number, is part of the given interface.
class TCounter_SET3 : public QObject {
    Q_OBJECT

public:
    TCounter_SET3(QObject* parent, unsigned short address, int number);

    /// CRC-16/XMODEM: polynomial 0x1021, start value 0, not reflected; 0 for no data.
    [[nodiscard]] static quint16 GetCRC(QByteArray data);

    /// Always empty. Part of the given interface; the daemon does not call it.
    [[nodiscard]] static QByteArray CreateDataQuery();

    /// The request to the node of the meter whose number has the low three bytes of `meter`. Empty for any command but
    /// 0x10.
    [[nodiscard]] static QByteArray CreateQuery(unsigned char command, unsigned int meter);

    /// Takes an answer with at least one data byte apart. `meter` is the 24-bit number sign-extended to 32 bits. The
    /// CRC covers everything but the first byte, which must be 0x82. On false all outputs keep their values.
    static bool ReceivePack(QByteArray pack, unsigned int& meter, unsigned char& code, QByteArray& data);

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
