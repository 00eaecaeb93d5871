#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

/// Asks this computer's time daemon for its listing, "ntpq -pn".
class NtpQuery final {
public:
    NtpQuery();
    ~NtpQuery();
    Q_DISABLE_COPY_MOVE(NtpQuery)

    /// False when the listing has not come after 30 s, or could not be asked for: see ErrorString().
    [[nodiscard]] bool Finish();
    [[nodiscard]] QString ErrorString() const { return process.errorString(); }

    /// The first line of the listing that contains `server`. Waits forever when there is none: the time daemon lists
    /// its server, always.
    [[nodiscard]] QByteArray LineOf(const QString& server);

private:
    QProcess process;
};
