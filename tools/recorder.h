#pragma once

#include <QFile>
#include <QJsonObject>
#include <QString>

/// Writes what the modem sends into a recording that the simulator plays. What the daemon writes to the modem is not
/// shown to anybody, and the substation meter's line is another one: neither is in it.
class Recorder final {
public:
    explicit Recorder(const QString& path);

    /// Makes the file; one that is there is not touched. False: Problem() says why.
    [[nodiscard]] bool Begin();

    /// An event of traffic; others of the substation meter's are passed over. False: it is not in the file.
    [[nodiscard]] bool Take(const QJsonObject& traffic);

    /// A sentence about the last failure.
    [[nodiscard]] QString Problem() const;

private:
    QFile file;
};
