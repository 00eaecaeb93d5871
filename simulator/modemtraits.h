#pragma once

#include "airpath.h"
#include "modemfaults.h"

/// How a simulated modem and its air behave. Probabilities are 0 to 1.
struct ModemTraits {
    QByteArray uin = "000D6F0000000001";
    QByteArray version = "123"; ///< three characters
    quint32 seed = 1; ///< the same seed and the same input give the same output
    int baud = 19200; ///< of the line to the daemon, both ways; 0: no limit

    Moment bootTime = std::chrono::milliseconds(500); ///< after a reset it neither hears nor answers
    Moment answerTime = std::chrono::milliseconds(20); ///< from a command to its answer
    Moment latency = std::chrono::milliseconds(150); ///< to a node, and to the modem's report of it
    Moment scanInterval = std::chrono::milliseconds(50); ///< between two nodes of a scan

    double nack = 0; ///< a unicast does not reach its node, and the modem says so
    double loss = 0; ///< a broadcast to one node, or one piece of an answer, is lost without a report
    double garbage = 0; ///< a line comes with up to 16 random bytes before it
    double fragmentation = 0; ///< a line is cut at a random place...
    Moment fragmentPause = std::chrono::milliseconds(700); ///< ...and goes on after this

    AirTraits air = {};
    ModemFaultTraits faults = {};
};

/// What a simulated modem has done so far.
struct ModemTally {
    qint64 linesReceived = 0;
    qint64 linesAnswered = 0; ///< with OK and what belongs to it
    qint64 linesRefused = 0; ///< with ERROR
    qint64 linesLost = 0; ///< came while the modem started
    qint64 unicastsDelivered = 0;
    qint64 unicastsNotDelivered = 0;
    qint64 answersPassedOn = 0; ///< pieces of nodes' answers
    qint64 messagesLost = 0; ///< by the air, see ModemTraits::loss
    qint64 refusedByLimit = 0; ///< see AirTraits::mostOnTheirWay
    qint64 reportsLost = 0;
    qint64 reportsLate = 0;
    qint64 powerCuts = 0;
    qint64 timesDeaf = 0;
    qint64 linesIgnored = 0; ///< came while the modem was deaf
};
