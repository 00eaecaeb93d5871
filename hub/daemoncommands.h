#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QLatin1StringView>
#include <QString>

#include <optional>
#include <span>

/// What an administrator can have the daemon do.
namespace DaemonCommands {

enum class Argument : quint8 {
    None,
    Uin, ///< a node's radio address, 16 hexadecimal digits
    Bytes, ///< hexadecimal digits, two a byte, blanks between bytes allowed
};

struct DaemonCommand {
    QLatin1StringView name;
    Argument argument = Argument::None;
    QLatin1StringView about; ///< a sentence: what it does
    bool stops = false; ///< the daemon ends: whoever asks for it should be sure
    bool answers = false; ///< with a value, see Reply(); of the others nothing is heard
};

/// All of them, in the daemon's order.
[[nodiscard]] std::span<const DaemonCommand> All();

/// Null when there is none of that name; capital letters count.
[[nodiscard]] const DaemonCommand* Find(QStringView name);

/// "none", "uin" or "bytes".
[[nodiscard]] QLatin1StringView ArgumentName(Argument argument);

/// The Command frame's data for what a person wrote. None when that is no argument of the command; `reason` is a
/// sentence then.
[[nodiscard]] std::optional<QByteArray> EncodeArgument(
    const DaemonCommand& command, const QString& written, QString& reason);

/// What the daemon answers to a command that does: a text, or a list of texts. `message` and `data` are the Action's;
/// what is cut or no text reads as far as it goes.
[[nodiscard]] QJsonValue Reply(const DaemonCommand& command, const QByteArray& message, const QByteArray& data);

} // namespace DaemonCommands
