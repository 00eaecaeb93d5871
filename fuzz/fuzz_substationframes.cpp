#include "fuzztarget.h"
#include "set3.h"
#include "substationframes.h"

#include <QtEndian>

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    if (input.size() < 5)
        return 0;
    const QByteArray request = SubstationFrames::Request(qFromLittleEndian<int>(bytes), input.sliced(4));
    Require(request.startsWith(input.first(3) + input.sliced(4)) && request.size() == input.size() + 1);
    Require(TCounter_SET3::GetCRC(request) == 0);

    Require(SubstationFrames::IsAnswerTo(request, request));
    for (qsizetype at = 0; at < 4; ++at) {
        QByteArray another = request;
        another[at] = static_cast<char>(another.at(at) ^ 0x10);
        Require(!SubstationFrames::IsAnswerTo(request, another));
        Require(!SubstationFrames::IsAnswerTo(request, request.first(at)));
    }
    Require(SubstationFrames::IsAnswerTo(request, input) == (input.first(4) == request.first(4)));
    return 0;
}
