#pragma once

#include "answerreport.h"
#include "linepeer.h"
#include "registeredmeter.h"
#include "virtualmeter.h"
#include "wire.h"

#include <random>

/// What goes wrong at the substation's own meter.
struct SubstationFaults {
    bool silent = false;
    QList<Span> silences; ///< the same for a while
    bool garbage = false; ///< answers random bytes
    int unanswered = 0; ///< so many readings at the beginning
    std::optional<double> driftPpm; ///< instead of Conditions::driftPpm
};

/// The substation's own meter on its serial line. It answers a request when its last byte comes; bytes in front of
/// the request do not matter, because nothing on the line marks where a request begins. A CE301 wants all messages of
/// an exchange in a row.
class LocalMeter final : public LinePeer {
public:
    LocalMeter(RegisteredMeter registered, const SubstationFaults& substationFaults, const Conditions& conditions,
        AnswerReport& answerReport);

    void Receive(const QByteArray& bytes, Moment now) override;
    [[nodiscard]] std::optional<Moment> NextDue() const override { return wire.NextDue(); }
    [[nodiscard]] QByteArray Take(Moment now) override { return wire.Take(now); }

    /// From a request to the first byte of its answer.
    static constexpr Moment AnswerTime = std::chrono::milliseconds(200);

private:
    [[nodiscard]] bool Heard(MeterDialect::Request request) const;
    void SendEnergy(Moment now);
    void SendClock(Moment now);
    void Send(QByteArray answer, const QByteArray& kind, const QByteArray& values, Moment now);

    const RegisteredMeter meter;
    const SubstationFaults faults;
    const QDateTime begin;
    AnswerReport& report;
    std::mt19937 random;
    VirtualMeter virtualMeter;
    Wire wire;
    QByteArray heard;
    int readings = 0;
};
