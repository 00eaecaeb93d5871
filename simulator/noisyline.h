#pragma once

#include "modemtraits.h"
#include "wire.h"

/// The modem's lines on their way to the daemon, with ModemTraits' garbage and fragmentation.
class NoisyLine final {
public:
    /// `modemTraits` and `generator`, which chance is drawn from, must outlive this object.
    NoisyLine(const ModemTraits& modemTraits, std::mt19937& generator);

    /// `text` between line ends. False: it comes in two parts.
    bool SendLine(const QByteArray& text, Moment now);

    /// Exactly these bytes, without noise.
    void SendRaw(const QByteArray& bytes, Moment now) { line.Send(bytes, now); }

    [[nodiscard]] Wire& Line() { return line; }
    [[nodiscard]] const Wire& Line() const { return line; }

private:
    [[nodiscard]] QByteArray Noise();
    [[nodiscard]] qsizetype Below(qsizetype limit);

    const ModemTraits& traits;
    std::mt19937& random;
    Wire line;
};
