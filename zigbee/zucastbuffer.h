#pragma once

#include <QByteArray>

#include <memory>

/// What each node has sent so far of an answer that comes in several messages: a doubly linked list, one item a sender.
/// Its head is the item without a predecessor. A look-up begins with the item that it is called on and goes to the
/// end of the list; called on the head it takes the same time in a list of any length.
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

    /// The most that is kept of a sender, in bytes: what comes beyond belongs to no answer.
    static constexpr qsizetype MostData = 65536;

    /// Add to what the sender has sent, or replace it. What would become more than MostData by an addition is dropped
    /// first, so that an answer which begins now is not lost; the log says so, once for each sender. Return its item,
    /// which is made behind this one if there was none.
    ZUCASTBuffer* AppendUCAST(const QByteArray& uin, const QByteArray& data);
    ZUCASTBuffer* SetUCAST(const QByteArray& uin, const QByteArray& data);

    /// Empty for an unknown sender.
    [[nodiscard]] QByteArray GetUCAST(const QByteArray& uin);

    void DeleteNext();

    /// Removes the sender's item; the head is never removed. Part of the given interface; the daemon does not call it.
    void DeleteItem(const QByteArray& uin);

    /// Leaves this item without a successor.
    void DeleteAll();

    /// Removes the items without data behind this one; of two such neighbours one call removes only the first. Data
    /// that begins with a zero byte counts as none. Part of the given interface; the daemon does not call it.
    void Clean();

    const QByteArray UIN;
    QByteArray Data;
    qint32 Count = 0; ///< part of the given interface; the daemon does not use it
    ZUCASTBuffer* Next = nullptr;
    ZUCASTBuffer* Prev = nullptr;

private:
    struct Index;

    ZUCASTBuffer(const QByteArray& uin, const QByteArray& data, ZUCASTBuffer* previous);

    void DropData();

    std::shared_ptr<Index> index; // one for the whole list
    bool toldOfDrop = false;
};
