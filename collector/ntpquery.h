#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>

/// Asks this computer's time daemon for its listing, "ntpq -pn".
class NtpQuery final {
public:
    /// A program that is not there should not be started again and again: each time the library leaves a descriptor
    /// open.
    [[nodiscard]] static bool IsInstalled();

    NtpQuery();
    ~NtpQuery();
    Q_DISABLE_COPY_MOVE(NtpQuery)

    /// False when the listing has not come after 30 s, or could not be asked for: see ErrorString().
    [[nodiscard]] bool Finish();
    [[nodiscard]] QString ErrorString() const { return process.errorString(); }

    /// The first line of the listing that contains `server`; null when there is none.
    [[nodiscard]] QByteArray FindLine(const QString& server);

    /// The first line of the listing that contains `server`. Without such a line it waits for ever, and the log says so
    /// once: given so.
    [[nodiscard]] QByteArray LineOf(const QString& server);

private:
    QProcess process;
};
