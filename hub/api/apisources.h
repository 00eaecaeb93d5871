#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <variant>

/// Why a question has no answer: a status of HTTP, 400 to 599, and a sentence for who asked.
struct ApiError {
    int status = 500;
    QString text;
};

/// An object, or one as text: what is too large to be built of values.
using ApiAnswer = std::variant<QJsonObject, QByteArray, ApiError>;

/// One event as its readers get it.
struct ApiEvent {
    quint64 id = 0; ///< rises by time
    QByteArray kind; ///< "traffic", "log", "sweep", "incident", "alarm", "link" or "command"
    QByteArray data; ///< one JSON object in one line, with "at" and "controller"
};

/// What the routes ask for; the program that has the answers fills it. Questions arrive checked: the controller is one
/// of Controllers(), ranges are in order. One without a function is answered with 503. Nothing here may wait.
struct ApiSources {
    using OfController = std::function<ApiAnswer(const QString& controller)>;

    /// Names, the first is the one that is meant when none is named.
    std::function<QStringList()> Controllers;

    OfController Status;
    OfController Meters;
    OfController Incidents;
    OfController Nodes;
    OfController Commands;

    /// `to` itself is not part of the range.
    std::function<ApiAnswer(const QString& controller, const QDateTime& from, const QDateTime& to)> Sweeps;
    std::function<ApiAnswer(const QString& controller, qint64 meter, const QDateTime& from, const QDateTime& to)>
        Readings;

    /// Both days included.
    std::function<ApiAnswer(const QString& controller, QDate from, QDate to)> Ledger;

    /// Of one meter with its readings, or of all.
    std::function<ApiAnswer(const QString& controller, std::optional<qint64> meter)> Clocks;

    /// Sends a command, whose argument is not checked yet. `reply` is called once, now or later: with what the daemon
    /// answered, with Sent after a command that it does not answer, or with an error.
    struct Sent { };
    using CommandReply = std::function<void(const std::variant<QJsonValue, Sent, ApiError>&)>;
    std::function<void(
        const QString& controller, const QString& name, const QString& argument, const CommandReply& reply)>
        Command;

    /// In the text format 0.0.4.
    std::function<QByteArray()> Metrics;

    /// The events of all controllers that came after this one and are still known, oldest first.
    std::function<QList<ApiEvent>(quint64 after)> EventsSince;

    /// Told when the first reader of traffic has come, and when the last one has gone; may be empty.
    std::function<void(bool wanted)> TrafficWanted;
};
