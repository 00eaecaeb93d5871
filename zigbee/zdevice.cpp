#include "zdevice.h"

#include <QHash>

#include <utility>

struct ZDevice::Index {
    QHash<QByteArray, ZDevice*> first; // behind the head
    ZDevice* last = nullptr;
};

namespace {

QByteArrayView AsCString(const QByteArray& bytes)
{
    return QByteArrayView(bytes).first(static_cast<qsizetype>(qstrnlen(bytes.constData(), size_t(bytes.size()))));
}

} // namespace

ZDevice::ZDevice(QByteArray uin, QString type)
    : UIN(std::move(uin)),
      Type(std::move(type)),
      index(std::make_unique<Index>())
{
    index->last = this;
}

ZDevice::ZDevice(const QByteArray& uin, const QString& type, std::unique_ptr<Index> noIndex)
    : UIN(uin),
      Type(type),
      index(std::move(noIndex))
{
}

ZDevice::~ZDevice() = default;

void ZDevice::AddDevice(const QByteArray& uin, const QString& type)
{
    if (AsCString(uin) == "0000000000000000")
        return;
    auto* const device = new ZDevice(uin, type, nullptr);
    index->last = index->last->Next = device;
    if (!index->first.contains(uin))
        index->first.insert(uin, device);
}

void ZDevice::DeleteDevice(const QByteArray& uin)
{
    const ZDevice* const doomed = index->first.take(uin);
    if (!doomed)
        return;
    ZDevice* before = this;
    while (before->Next != doomed)
        before = before->Next;
    before->Next = doomed->Next;
    if (index->last == doomed)
        index->last = before;
    for (ZDevice* device = before->Next; device; device = device->Next) {
        if (device->UIN == uin) {
            index->first.insert(uin, device);
            break;
        }
    }
    delete doomed;
}

void ZDevice::DeleteAllDevices()
{
    ZDevice* lastFirst = nullptr;
    for (ZDevice* device = std::exchange(Next, nullptr); device;) {
        ZDevice* const following = std::exchange(device->Next, lastFirst);
        lastFirst = std::exchange(device, following);
    }
    while (lastFirst)
        delete std::exchange(lastFirst, lastFirst->Next);
    *index = {{}, this};
}

const ZDevice* ZDevice::Find(const QByteArray& uin) const
{
    return index->first.value(uin);
}
