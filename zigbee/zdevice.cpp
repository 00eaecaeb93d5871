#include "zdevice.h"

#include <QHash>

#include <utility>

struct ZDevice::Index {
    QHash<QByteArray, ZDevice*> first; // behind the head
    ZDevice* last = nullptr;
    qsizetype mostNodes = 0;
};

namespace {

QByteArrayView AsCString(const QByteArray& bytes)
{
    return QByteArrayView(bytes).first(static_cast<qsizetype>(qstrnlen(bytes.constData(), size_t(bytes.size()))));
}

} // namespace

ZDevice::ZDevice(QByteArray uin, QString type, qsizetype mostNodes)
    : UIN(std::move(uin)),
      Type(std::move(type)),
      index(std::make_unique<Index>())
{
    *index = {{}, this, mostNodes};
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
    const bool bounded = index->mostNodes > 0;
    if (bounded && Heard(uin))
        return;
    auto* const device = new ZDevice(uin, type, nullptr);
    Append(device);
    if (!index->first.contains(uin))
        index->first.insert(uin, device);
    if (!bounded || index->first.size() <= index->mostNodes)
        return;
    const ZDevice* const oldest = Next;
    TakeOut(oldest);
    index->first.remove(oldest->UIN);
    delete oldest;
}

bool ZDevice::Heard(const QByteArray& uin)
{
    ZDevice* const device = index->first.value(uin);
    if (device && index->mostNodes > 0) {
        TakeOut(device);
        Append(device);
    }
    return device != nullptr;
}

void ZDevice::Append(ZDevice* device)
{
    device->before = index->last;
    device->Next = nullptr;
    index->last = index->last->Next = device;
}

void ZDevice::TakeOut(const ZDevice* device)
{
    device->before->Next = device->Next;
    if (device->Next)
        device->Next->before = device->before;
    else
        index->last = device->before;
}

void ZDevice::DeleteDevice(const QByteArray& uin)
{
    const ZDevice* const doomed = index->first.take(uin);
    if (!doomed)
        return;
    TakeOut(doomed);
    for (ZDevice* device = doomed->Next; device; device = device->Next) {
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
    *index = {{}, this, index->mostNodes};
}

const ZDevice* ZDevice::Find(const QByteArray& uin) const
{
    return index->first.value(uin);
}
