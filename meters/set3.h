#pragma once

#include <QByteArray>
#include <QObject>

/// The SET3 meter's binary frames, checked by a CRC-16.
class TCounter_SET3 : public QObject {
    Q_OBJECT

public:
    TCounter_SET3(QObject* parent, unsigned short address, int number);

    /// CRC-16/XMODEM: polynomial 0x1021, start value 0, not reflected; 0 for no data.
    [[nodiscard]] static quint16 GetCRC(QByteArray data);

    /// Always empty.
    [[nodiscard]] static QByteArray CreateDataQuery();

    /// The request to the node of the meter whose number has the low three bytes of `meter`. Empty for any command but
    /// 0x10.
    [[nodiscard]] static QByteArray CreateQuery(unsigned char command, unsigned int meter);

    /// Takes an answer with at least one data byte apart. `meter` is the 24-bit number sign-extended to 32 bits. The
    /// CRC covers everything but the first byte, which must be 0x82. On false all outputs keep their values.
    static bool ReceivePack(QByteArray pack, unsigned int& meter, unsigned char& code, QByteArray& data);

    const unsigned short Address;
    const int Number;
};
