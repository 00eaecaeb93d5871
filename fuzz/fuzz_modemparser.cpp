// The modem's output: two polls, so that the second meets the nodes of the first.
#include "modemparser.h"
#include "zdevice.h"

#include <cstdlib>

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    // Not a copy: a read behind the end must be seen.
    const auto chunk = QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    ZDevice table("000D6F00001733EB"_ba, u"Main Device"_s);
    std::size_t events = 0;
    for (int poll = 0; poll < 2; ++poll)
        ParseModemChunk(
            chunk, [&](const QByteArray& uin) { return table.Find(uin) != nullptr; },
            [&](const ModemEvent::Any& event) {
                if (const auto* const node = std::get_if<ModemEvent::NodeFound>(&event)) {
                    if (node->uin.size() != 16)
                        std::abort();
                    table.AddDevice(node->uin, node->type);
                } else if (const auto* const unicast = std::get_if<ModemEvent::Unicast>(&event)) {
                    if (unicast->uin.size() > 16 || unicast->payload.size() > MaxPayload)
                        std::abort();
                }
                ++events;
            });
    // A tag is at least four bytes and yields two events at most.
    if (events > size)
        std::abort();
    table.DeleteAllDevices();
    return 0;
}
