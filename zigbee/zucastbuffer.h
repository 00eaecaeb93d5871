#pragma once

#include <QByteArray>

#include <memory>

/// What each node has sent so far of an answer that comes in several messages: a doubly linked list, one item a sender.
/// Its head is the item without a predecessor. Look-ups go from the item they are called on to the end, that item
/// included; called on the head they take the same time in a list of any length.
class ZUCASTBuffer final {
public:
    /// A list of its own, with this item as head.
    ZUCASTBuffer(QByteArray uin, QByteArray data);

    /// Destroys everything behind this item first.
    ~ZUCASTBuffer();
    ZUCASTBuffer(const ZUCASTBuffer&) = delete;
    ZUCASTBuffer& operator=(const ZUCASTBuffer&) = delete;

    [[nodiscard]] ZUCASTBuffer* FindItem(const QByteArray& uin);

    /// Inserts directly behind this item, without a look-up.
    ZUCASTBuffer* NewItem(const QByteArray& uin, const QByteArray& data);

    /// The sender's item, made behind this one if there was none.
    ZUCASTBuffer* AppendUCAST(const QByteArray& uin, const QByteArray& data);
    ZUCASTBuffer* SetUCAST(const QByteArray& uin, const QByteArray& data);

    /// Empty for an unknown sender.
    [[nodiscard]] QByteArray GetUCAST(const QByteArray& uin);

    void DeleteNext();

    /// The head stays.
    void DeleteItem(const QByteArray& uin);

    /// Leaves this item without a successor.
    void DeleteAll();

    /// Removes items without data, but of two neighbours only the first: the collector's passes count on no more. Data
    /// that begins with a zero byte counts as none.
    void Clean();

    const QByteArray UIN;
    QByteArray Data;
    qint32 Count = 0;
    ZUCASTBuffer* Next = nullptr;
    ZUCASTBuffer* Prev = nullptr;

private:
    struct Index;

    ZUCASTBuffer(const QByteArray& uin, const QByteArray& data, ZUCASTBuffer* previous);

    std::shared_ptr<Index> index; // one for the whole list
};
