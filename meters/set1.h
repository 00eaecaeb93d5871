#pragma once

#include <QByteArray>
#include <QObject>

/// The SET1 meter's answers: 0x82, a code, data. It is never sent a request of its own.
class TCounter_SET1 : public QObject {
    Q_OBJECT

public:
    TCounter_SET1(QObject* parent, unsigned short address, int number);

    /// The negated sum of the bytes, each taken as signed; 0 for no data. Its low byte is an answer's checksum.
    [[nodiscard]] static qint32 GetCRC(QByteArray data);

    /// Both are always empty.
    [[nodiscard]] static QByteArray CreateDataQuery();
    [[nodiscard]] static QByteArray CreateQuery(unsigned char command, unsigned int meter);

    /// Takes an answer of at least 8 bytes apart. Code "P": `data` gets the 7 bytes behind it, or the 6 that are there,
    /// unchecked. Any other code: 12 bytes and their checksum, which covers neither the code nor what follows. On false
    /// `data` keeps its value; `code` does so only for an answer that is too short or does not begin with 0x82.
    static bool ReceivePack(QByteArray pack, unsigned char& code, QByteArray& data);

    const unsigned short Address;
    const int Number;
};
