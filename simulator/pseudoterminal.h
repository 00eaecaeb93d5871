#pragma once

#include <QByteArray>
#include <QString>

#include <termios.h>

/// A serial line in software: the daemon opens it under a name of the caller's choice, this side holds the other end.
class PseudoTerminal final {
public:
    PseudoTerminal() = default;
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// Makes a raw line and publishes it as the symbolic link `path`. A link that is there already is replaced,
    /// anything else is left alone. On failure `error` says why.
    [[nodiscard]] bool Open(const QString& path, QString& error);

    /// Removes the link, if it is still this line's, and hangs up.
    void Close();

    /// What the daemon has written; empty when there is nothing. Never waits.
    [[nodiscard]] QByteArray Read();

    /// Returns how many bytes the system took. As on a real line, bytes are lost when the daemon does not read.
    qsizetype Write(const QByteArray& bytes);

    /// For waiting until something can be read.
    [[nodiscard]] int Descriptor() const { return master; }

    /// For asking how much the daemon has not read yet.
    [[nodiscard]] int DaemonSide() const { return slave; }

private:
    [[nodiscard]] bool OpenPair();
    [[nodiscard]] bool Publish(const QString& path, QString& error);

    int master = -1;
    int slave = -1; // held open, so that the line outlives a daemon that is restarted
    termios settings{}; // as they are before the daemon opens the line
    QString link;
};
