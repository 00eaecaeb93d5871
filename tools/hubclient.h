#pragma once

#include "eventreader.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <functional>

class Interruption;

/// What the hub answered.
struct HubAnswer {
    int status = 0; ///< of HTTP; 0: nobody answered
    QJsonObject body;
    QString problem; ///< a sentence; empty when it went well
};

/// Asks the hub over its socket; the socket's rights decide who may. Blocks.
class HubClient final {
public:
    explicit HubClient(QString socketPath);

    /// `target` is path and query. Waits for 30 s at most.
    [[nodiscard]] HubAnswer Get(const QString& target) const;
    /// Waits for a minute at most: the daemon may be busy.
    [[nodiscard]] HubAnswer Post(const QString& target, const QJsonObject& body) const;

    enum class StreamEnd {
        Interrupted,
        Lost, ///< nobody is there, or not any more; `problem` says why
        Refused, ///< the hub does not give this stream; `problem` says why
    };
    /// Gives each event to `take` until there are no more. With `afterId` the stream goes on behind that event.
    /// `whenOpen` is called when the hub has begun to answer.
    [[nodiscard]] StreamEnd Follow(const QString& target, const QByteArray& afterId, const Interruption& interruption,
        const std::function<void()>& whenOpen, const std::function<void(const HubEvent&)>& take,
        QString& problem) const;

private:
    [[nodiscard]] HubAnswer Ask(const QString& target, const QByteArray* body, long timeoutSeconds) const;
    /// Why nothing came.
    [[nodiscard]] QString Why(int curlCode, long timeoutSeconds) const;

    QString socketPath;
};
