#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

/// The radio nodes that the modem has reported: a singly linked list whose head, the modem's own entry, is the table.
/// All operations belong to the head. The table takes an address twice: callers look for it before they add it.
class ZDevice final {
public:
    /// A new table that holds the modem alone. It keeps the `mostNodes` nodes that were heard last, each once, beside
    /// the modem; with 0 it keeps all.
    ZDevice(QByteArray uin, QString type, qsizetype mostNodes = 0);

    /// Releases this entry only: DeleteAllDevices() frees those behind it.
    ~ZDevice();
    ZDevice(const ZDevice&) = delete;
    ZDevice& operator=(const ZDevice&) = delete;

    /// Appends a node at the end of the list. The all-zero address, read up to its first zero byte, is refused.
    void AddDevice(const QByteArray& uin, const QString& type);

    /// Whether a node that was heard now is in the table, as Find() tells. A table with a bound moves it to the end of
    /// the list: those at the front go first.
    bool Heard(const QByteArray& uin);

    /// Removes the first node behind the head with this address, if there is one. Part of the given interface; the
    /// daemon does not call it.
    void DeleteDevice(const QByteArray& uin);

    void DeleteAllDevices();

    /// The first node behind the head with this address, or null. Takes the same time in a table of any size.
    [[nodiscard]] const ZDevice* Find(const QByteArray& uin) const;

    /// 16 upper-case hexadecimal digits, as the modem writes them.
    const QByteArray UIN;

    /// The tag that announced the node, for example "FFD:"; "Main Device" for the modem.
    const QString Type;

    ZDevice* Next = nullptr;

private:
    struct Index;

    ZDevice(const QByteArray& uin, const QString& type, std::unique_ptr<Index> index);

    void Append(ZDevice* device);
    void TakeOut(const ZDevice* device);

    ZDevice* before = nullptr;

    std::unique_ptr<Index> index; // the head's alone
};
