// The kinds of lines: "node" (it announces itself), "energy", "clock", "alarm", "empty", "frame" (no known meter),
// "damaged", "piece" (of an answer that goes on), "delivered", "undelivered", "taken", "refused", "modem" (whatever
// else it says).

#include "trafficwords.h"

#include "answerwords.h"
#include "shown.h"
#include "traffictexts.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype UinAt = 6; // behind "UCAST:" and "BCAST:"
constexpr qsizetype UinSize = 16;

/// A line of a tag and two digits.
struct Report {
    QByteArrayView tag;
    QLatin1StringView kind;
    const char* words;
};

constexpr std::array<Report, 4> Reports{{
    {"ACK:", "delivered"_L1, QT_TRANSLATE_NOOP("traffic", "message %1 was delivered")},
    {"NACK:", "undelivered"_L1, QT_TRANSLATE_NOOP("traffic", "message %1 was not delivered")},
    {"+UCASTB:", "taken"_L1, QT_TRANSLATE_NOOP("traffic", "the modem has taken message %1")},
    {"ERROR:", "refused"_L1, QT_TRANSLATE_NOOP("traffic", "the modem refuses, error %1")},
}};

struct Announcement {
    QByteArrayView tag;
    const char* words;
};

constexpr std::array<Announcement, 4> Announcements{{
    {"FFD:", QT_TRANSLATE_NOOP("traffic", "a node that passes messages on (FFD) is there")},
    {"COO:", QT_TRANSLATE_NOOP("traffic", "the network's coordinator (COO) is there")},
    {"SED:", QT_TRANSLATE_NOOP("traffic", "a sleeping node (SED) is there")},
    {"NEWNODE: ", QT_TRANSLATE_NOOP("traffic", "a node has come into the network")},
}};

/// An address may be any bytes.
QByteArray HarmlessUin(const QByteArray& uin)
{
    const bool isPlain = std::all_of(uin.begin(), uin.end(), [](char c) { return c > ' ' && c <= '~'; });
    return isPlain ? uin : '?' + uin.toHex();
}

/// `line` is one if two hexadecimal digits follow the tag.
const Report* ReportOf(const QByteArray& line)
{
    const auto isDigit = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
    };
    const auto* const found = std::find_if(Reports.begin(), Reports.end(), [&](const Report& report) {
        return line.startsWith(report.tag) && line.size() == report.tag.size() + 2
            && std::all_of(line.end() - 2, line.end(), isDigit);
    });
    return found == Reports.end() ? nullptr : found;
}

const Announcement* AnnouncementOf(const QByteArray& line)
{
    const auto* const found =
        std::find_if(Announcements.begin(), Announcements.end(), [&line](const Announcement& announcement) {
            return line.startsWith(announcement.tag) && line.size() == announcement.tag.size() + UinSize;
        });
    return found == Announcements.end() ? nullptr : found;
}

/// What a node's message carries: ",LL=" and LL bytes, or "=" and a text.
struct Payload {
    QByteArray bytes;
    bool isWhole = false;
};

Payload PayloadOf(const QByteArray& line)
{
    const QByteArray behind = line.mid(UinAt + UinSize);
    if (behind.startsWith('='))
        return {behind.sliced(1), true};
    bool isNumber = false;
    const int length = behind.mid(1, 2).toInt(&isNumber, 16);
    constexpr qsizetype FormSize = 4;
    const bool isForm = behind.startsWith(',') && behind.size() >= FormSize && isNumber && length >= 0;
    return {behind.mid(FormSize), isForm && length < 0x80 && behind.size() == FormSize + length};
}

QString WordsOfPiece(const NodePieces::Found& found, const QByteArray& piece)
{
    if (found.dropped)
        return TrafficTexts::tr("a piece; too much came without the end of an answer, it is dropped, %1")
            .arg(WordsOfBytes(piece));
    return found.isOpen ? TrafficTexts::tr("a piece of an answer that goes on, %1").arg(WordsOfBytes(piece))
                        : TrafficTexts::tr("outside of any frame, %1").arg(WordsOfBytes(piece));
}

} // namespace

TrafficWords::TrafficWords(ModelOfNode modelOfNode) : modelOf(std::move(modelOfNode)) { }

QList<TrafficLine> TrafficWords::Take(QByteArrayView chunk)
{
    QList<TrafficLine> lines;
    for (const QByteArray& line : cutter.Take(chunk))
        Tell(line, lines);
    return lines;
}

void TrafficWords::Tell(const QByteArray& line, QList<TrafficLine>& lines)
{
    const bool isBroadcast = line.startsWith("BCAST:");
    if (isBroadcast || line.startsWith("UCAST:")) {
        TellMessage(line, isBroadcast, lines);
    } else if (const Report* const report = ReportOf(line)) {
        const QString number = QString::fromLatin1(line.last(2));
        lines.append({line, {}, report->kind, TrafficTexts::tr(report->words).arg(number)});
    } else if (const Announcement* const announcement = AnnouncementOf(line)) {
        lines.append({line, HarmlessUin(line.last(UinSize)), u"node"_s, TrafficTexts::tr(announcement->words)});
    } else {
        lines.append({line, {}, u"modem"_s, TrafficTexts::tr("the modem says \"%1\"").arg(Shown(line))});
    }
}

void TrafficWords::TellMessage(const QByteArray& line, bool isBroadcast, QList<TrafficLine>& lines)
{
    const QByteArray uin = line.mid(UinAt, UinSize);
    const auto add = [&](const QString& kind, const QString& words) {
        lines.append({line, HarmlessUin(uin), kind, isBroadcast ? TrafficTexts::tr("to all: %1").arg(words) : words});
    };
    const Payload payload = PayloadOf(line);
    if (uin.size() < UinSize || !payload.isWhole) {
        pieces.Forget(uin);
        add(u"damaged"_s, TrafficTexts::tr("a message that was cut or changed on its way, %1").arg(WordsOfBytes(line)));
        return;
    }
    const NodePieces::Found found =
        isBroadcast ? NodePieces().Take(uin, payload.bytes) : pieces.Take(uin, payload.bytes);
    for (const QByteArray& frame : found.frames) {
        const AnswerWords said = WordsOfNodeFrame(frame, modelOf(uin));
        add(said.kind, said.words);
    }
    if (found.frames.isEmpty() || found.dropped)
        add(u"piece"_s, WordsOfPiece(found, payload.bytes));
}
