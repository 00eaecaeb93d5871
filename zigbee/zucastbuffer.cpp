#include "zucastbuffer.h"

#include "log.h"

#include <QCoreApplication>
#include <QMultiHash>

#include <utility>

struct ZUCASTBuffer::Index {
    QMultiHash<QByteArray, ZUCASTBuffer*> items;
};

ZUCASTBuffer::ZUCASTBuffer(QByteArray uin, QByteArray data)
    : UIN(std::move(uin)),
      Data(std::move(data)),
      index(std::make_shared<Index>())
{
    index->items.insert(UIN, this);
}

ZUCASTBuffer::ZUCASTBuffer(const QByteArray& uin, const QByteArray& data, ZUCASTBuffer* previous)
    : UIN(uin),
      Data(data),
      Next(previous->Next),
      Prev(previous),
      index(previous->index)
{
    Prev->Next = this;
    if (Next)
        Next->Prev = this;
    index->items.insert(UIN, this);
}

ZUCASTBuffer::~ZUCASTBuffer()
{
    DeleteAll();
    if (Prev)
        Prev->Next = nullptr;
    index->items.remove(UIN, this);
}

ZUCASTBuffer* ZUCASTBuffer::FindItem(const QByteArray& uin)
{
    const auto [first, end] = std::as_const(index->items).equal_range(uin);
    if (first == end)
        return nullptr;
    if (!Prev && std::next(first) == end)
        return *first;
    ZUCASTBuffer* item = this;
    while (item && item->UIN != uin)
        item = item->Next;
    return item;
}

ZUCASTBuffer* ZUCASTBuffer::NewItem(const QByteArray& uin, const QByteArray& data)
{
    return new ZUCASTBuffer(uin, data, this);
}

ZUCASTBuffer* ZUCASTBuffer::AppendUCAST(const QByteArray& uin, const QByteArray& data)
{
    ZUCASTBuffer* const item = FindItem(uin);
    if (!item)
        return NewItem(uin, data);
    if (item->Data.size() + data.size() > MostData)
        item->DropData();
    item->Data += data;
    return item;
}

void ZUCASTBuffer::DropData()
{
    if (!std::exchange(toldOfDrop, true))
        Log(QCoreApplication::translate("ZUCASTBuffer", "%1 bytes of node %2 could not be used and were dropped")
                .arg(Data.size())
                .arg(QString::fromUtf8(UIN)));
    Data.clear();
}

ZUCASTBuffer* ZUCASTBuffer::SetUCAST(const QByteArray& uin, const QByteArray& data)
{
    ZUCASTBuffer* const item = FindItem(uin);
    if (!item)
        return NewItem(uin, data);
    item->Data = data;
    return item;
}

QByteArray ZUCASTBuffer::GetUCAST(const QByteArray& uin)
{
    const ZUCASTBuffer* const item = FindItem(uin);
    return item ? item->Data : QByteArray();
}

void ZUCASTBuffer::DeleteNext()
{
    if (!Next)
        return;
    ZUCASTBuffer* const doomed = std::exchange(Next, Next->Next);
    if (Next)
        Next->Prev = this;
    doomed->Next = doomed->Prev = nullptr;
    delete doomed;
}

void ZUCASTBuffer::DeleteItem(const QByteArray& uin)
{
    const ZUCASTBuffer* const item = FindItem(uin);
    if (item && item->Prev)
        item->Prev->DeleteNext();
}

void ZUCASTBuffer::DeleteAll()
{
    while (Next)
        DeleteNext();
}

void ZUCASTBuffer::Clean()
{
    for (ZUCASTBuffer* item = this; item; item = item->Next)
        if (item->Next && (item->Next->Data.isEmpty() || item->Next->Data.front() == '\0'))
            item->DeleteNext();
}
