#pragma once

#include "agenda.h"
#include "passage.h"

#include <QList>

#include <random>

/// When a modem fails as a whole. All off by default.
struct ModemFaultTraits {
    Moment powerCutEvery{0}; ///< the mean of the random intervals; 0: none at random
    QList<Moment> powerCuts = {}; ///< and at these times
    Moment deafEvery{0}; ///< as powerCutEvery
    QList<Moment> deaf = {}; ///< it goes deaf at these times

    [[nodiscard]] bool AnyOn() const;
};

/// The state of a modem that may fail. Without power it forgets everything, and starts without its network; deaf it
/// takes what it is told and says nothing until it is restarted, and then has no network either. The network is back
/// after "at+jn" and then "at+en".
class ModemFaults final {
public:
    ModemFaults(ModemFaultTraits faultTraits, quint32 seed);

    /// Has each fault done when its time comes. This object must outlive the tasks in `agenda`.
    void Schedule(Agenda& agenda, const Agenda::Task& powerCut, const Agenda::Task& deafness);

    void CutPower();
    /// False: it is deaf already.
    bool GoDeaf();

    // What the daemon can do about it.
    void Restart();
    void Join(); ///< "at+jn"
    void Enter(); ///< "at+en"

    [[nodiscard]] bool IsDeaf() const { return isDeaf; }
    [[nodiscard]] bool OnNetwork() const { return network == Network::Entered; }

    /// What becomes of a node's answer that comes now.
    [[nodiscard]] Passage OfAnswer() const;

    /// Counts how often everything was forgotten: what was begun in an earlier life is never finished.
    [[nodiscard]] int Life() const { return life; }

private:
    enum class Network { Lost, Joined, Entered };

    void ScheduleNext(Agenda& agenda, Moment mean, const Agenda::Task& fault, Moment from);
    void Forget();

    const ModemFaultTraits traits;
    std::mt19937 random;
    Network network = Network::Entered;
    bool isDeaf = false;
    int life = 0;
};
