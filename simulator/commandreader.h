#pragma once

#include <QByteArray>

#include <optional>

/// A command line of the daemon's without its line end, and the raw bytes that followed it.
struct ReceivedCommand {
    QByteArray line;
    QByteArray payload;
};

/// Puts commands together, byte by byte.
class CommandReader final {
public:
    /// The command that `byte` completes, if it does.
    [[nodiscard]] std::optional<ReceivedCommand> Take(char byte);

    /// Drops what has begun.
    void Forget();

private:
    QByteArray line;
    QByteArray payload;
    qsizetype payloadMissing = 0;
};

/// Whether a message's argument is "LL," and an address of `addressSize`. LL, hexadecimal, raw bytes follow the line.
[[nodiscard]] bool IsMessageArgument(const QByteArray& argument, qsizetype addressSize);

inline constexpr QByteArrayView UnicastCommand = "at+ucastb:";
inline constexpr QByteArrayView BroadcastCommand = "at+bcastb:";
