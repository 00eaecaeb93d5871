#include "noisyline.h"

#include "chance.h"

#include <algorithm>

NoisyLine::NoisyLine(const ModemTraits& modemTraits, std::mt19937& generator)
    : traits(modemTraits),
      random(generator),
      line(modemTraits.baud)
{
}

bool NoisyLine::SendLine(const QByteArray& text, Moment now)
{
    const QByteArray noise = Happens(traits.garbage, random) ? Noise() : QByteArray();
    QByteArray bytes = noise + "\r\n" + text + "\r\n";
    bool whole = true;
    if (Happens(traits.fragmentation, random)) {
        const qsizetype cut = 1 + Below(bytes.size() - 1);
        whole = cut <= noise.size() || cut >= bytes.size() - 2;
        line.Send(bytes.left(cut), now);
        line.Pause(traits.fragmentPause);
        bytes.remove(0, cut);
    }
    line.Send(bytes, now);
    return whole;
}

QByteArray NoisyLine::Noise()
{
    QByteArray noise(1 + Below(16), Qt::Uninitialized);
    std::generate(noise.begin(), noise.end(), [this] { return static_cast<char>(Below(256)); });
    return noise;
}

qsizetype NoisyLine::Below(qsizetype limit)
{
    return static_cast<qsizetype>(random()) % limit;
}
