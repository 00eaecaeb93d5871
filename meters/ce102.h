#pragma once

#include "meteranswer.h"

#include <QByteArray>
#include <QObject>

/// The CE102 meter's binary frame: 0xC0, the stuffed body, 0xC0. In the body 0xC0 is sent as 0xDB 0xDC and 0xDB as
/// 0xDB 0xDD; its last byte is the CRC-8 of the others. All of it is part of the given interface; the daemon
/// calls none of it: it sends no such frame, and stores no CE102's answer.
class TCounter_CE102 : public QObject {
    Q_OBJECT

public:
    TCounter_CE102(QObject* parent, unsigned short address, int number);

    /// CRC-8 with polynomial 0xB5, start value 0, not reflected; 0 for no data.
    [[nodiscard]] static quint8 GetCRC(QByteArray data);

    /// The frame that asks the meter at `Address` for `command`. Inside it the address stands high byte first, the
    /// command low byte first.
    [[nodiscard]] QByteArray CreateQuery(unsigned short command, QByteArray data) const;

    /// The query for the energy reading.
    [[nodiscard]] QByteArray CreateDataQuery() const;

    /// Takes the first frame in `pack` apart. `answer` is false for a frame that is itself a request. `command` is the
    /// high byte times 256 plus the low byte taken as signed. On false `answer`, `command` and `data` keep their
    /// values, and so do the addresses unless the checksum was right.
    static bool ReceivePack(QByteArray pack, bool& answer, unsigned short& address2, unsigned short& address1,
        unsigned short& command, QByteArray& data);

    /// The register of an energy answer: the total alone. On false `energy` keeps its values.
    static bool DecodeEnergy(const QByteArray& frame, Energy& energy);

    /// A frame that is not empty tells energy.
    [[nodiscard]] static MeterAnswer Read(const QByteArray& frame);

    const unsigned short Address;
    const int Number;
};
