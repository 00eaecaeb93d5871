#include "setupquestions.h"

#include "command.h"
#include "texts.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <string>

#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const auto Password = u"Base/SqlPassword"_s;

struct Question {
    QLatin1StringView option;
    QLatin1StringView key;
    const char* text; ///< for Texts::tr()
    QLatin1StringView ofNew; ///< what a new installation gets
    bool isOfServer = false; ///< only asked when the database is on a server
};

constexpr std::array<Question, 8> Questions{{
    {"modem-port"_L1, "Main/PortKS"_L1, QT_TRANSLATE_NOOP("ravelinctl", "Serial line of the modem"), "/dev/ttyUSB0"_L1},
    {"substation-port"_L1, "Main/PortCounterKTP"_L1,
        QT_TRANSLATE_NOOP("ravelinctl", "Serial line of the substation meter"), "/dev/ttyS2"_L1},
    {"number"_L1, "Base/ServerName"_L1,
        QT_TRANSLATE_NOOP("ravelinctl", "Number of the substation, or the daemon's name on the bus"), "ravelin"_L1},
    {"admin"_L1, "Base/AdminServerName"_L1, QT_TRANSLATE_NOOP("ravelinctl", "Bus name of the administrative server"),
        "admin"_L1},
    {"database"_L1, "Base/BDType"_L1, QT_TRANSLATE_NOOP("ravelinctl", "Database, sqlite3 or postgres"), "sqlite3"_L1},
    {"base-name"_L1, "Base/BaseName"_L1, QT_TRANSLATE_NOOP("ravelinctl", "File or name of the database"),
        "/var/lib/ravelin/z.db"_L1},
    {"host"_L1, "Base/SqlHostName"_L1, QT_TRANSLATE_NOOP("ravelinctl", "Host of the database"), "127.0.0.1"_L1, true},
    {"login"_L1, "Base/SqlLogin"_L1, QT_TRANSLATE_NOOP("ravelinctl", "Role in the database"), "ravelin"_L1, true},
}};

// What a new installation is not asked about.
constexpr std::array<std::pair<QLatin1StringView, QLatin1StringView>, 3> OfNew{
    {{"Base/Log"_L1, "1"_L1}, {"Base/Connections"_L1, ""_L1}, {"Field/Remedies"_L1, "all"_L1}}};

/// A number alone is the end of a name.
QString Meant(const Question& question, const QString& answer)
{
    const bool isNumber =
        !answer.isEmpty() && std::all_of(answer.begin(), answer.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
    return question.key == "Base/ServerName"_L1 && isNumber ? "ravelin-"_L1 + answer : answer;
}

/// What is typed does not show.
class Hidden final {
public:
    Hidden() : isTerminal(::tcgetattr(STDIN_FILENO, &before) == 0)
    {
        termios quiet = before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        if (isTerminal)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~Hidden()
    {
        if (isTerminal)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    }
    Q_DISABLE_COPY_MOVE(Hidden)

private:
    termios before{};
    const bool isTerminal;
};

std::optional<QString> FirstLineOf(const QString& fileName)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return QString::fromUtf8(file.readLine()).remove(u'\n').remove(u'\r');
    Complain(fileName + ": "_L1 + file.errorString());
    return std::nullopt;
}

std::optional<QString> PasswordOf(const CommandLine& line, const QString& present, bool asks)
{
    if (const QString file = line.Option(u"password-file"_s); !file.isEmpty())
        return FirstLineOf(file);
    if (!asks)
        return present;
    const Hidden hidden;
    auto answer = SetupQuestions::Ask(Texts::tr("Password in the database"), present.isEmpty() ? u""_s : u"***"_s);
    return answer == "***"_L1 ? present : answer;
}

} // namespace

void SetupQuestions::AddOptions(CommandLine& line)
{
    for (const Question& question : Questions)
        line.AddOption(question.option, Texts::tr("value"), Texts::tr(question.text) + u'.', {});
    line.AddOption(u"password-file"_s, Texts::tr("file"),
        Texts::tr("A file whose first line is the password in the database."), {});
}

std::optional<QString> SetupQuestions::Ask(const QString& question, const QString& present)
{
    std::fprintf(stdout, "%s [%s]: ", qUtf8Printable(question), qUtf8Printable(present));
    std::fflush(stdout);
    std::string answer;
    if (!std::getline(std::cin, answer)) {
        Complain(Texts::tr("There is no answer; --yes takes what stands in brackets."));
        return std::nullopt;
    }
    const QString text = QString::fromStdString(answer).trimmed();
    return text.isEmpty() ? present : text;
}

std::optional<QMap<QString, QString>> SetupQuestions::Answers(
    const CommandLine& line, const SettingsFile& present, bool isNew, bool asks)
{
    QMap<QString, QString> changes;
    const auto set = [&](const QString& key, const QString& value) {
        if (isNew || present.Text(key, {}) != value)
            changes[key] = value;
    };
    bool isOnServer = false;
    for (const Question& question : Questions) {
        if (question.isOfServer && !isOnServer)
            continue;
        const bool isServersName = question.key == "Base/BaseName"_L1 && isOnServer;
        const QString ofNew = isServersName ? u"ravelin"_s : QString(question.ofNew);
        const QString stands = isNew ? ofNew : present.Text(question.key, ofNew);
        std::optional<QString> answer = line.Option(question.option);
        if (answer->isEmpty())
            answer = asks ? Ask(Texts::tr(question.text), stands) : stands;
        if (!answer)
            return std::nullopt;
        if (question.key == "Base/BDType"_L1)
            isOnServer = *answer == "postgres"_L1;
        if (isNew || *answer != stands || !line.Option(question.option).isEmpty())
            set(question.key, Meant(question, *answer));
    }
    if (isOnServer) {
        const auto password = PasswordOf(line, present.Text(Password, {}), asks);
        if (!password)
            return std::nullopt;
        set(Password, *password);
    }
    if (isNew)
        for (const auto& [key, value] : OfNew)
            changes[key] = value;
    return changes;
}
