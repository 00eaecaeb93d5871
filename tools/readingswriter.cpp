#include "readingswriter.h"

#include "csvtext.h"
#include "ledgerwords.h"
#include "shown.h"
#include "texts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <charconv>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype BufferBytes = 65536;

/// The shortest text that is this number.
void AppendNumber(QByteArray& line, double value)
{
    if (!std::isfinite(value)) {
        line += "null";
        return;
    }
    std::array<char, 32> text{};
    const std::to_chars_result end = std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed);
    // More digits than that have only values that no meter has.
    line += end.ec == std::errc() ? QByteArrayView(text.data(), end.ptr - text.data()).toByteArray()
                                  : QByteArray::number(value);
}

/// What is the same for all rows of a meter.
class MeterTexts final {
public:
    explicit MeterTexts(QByteArray (*make_)(const LedgerMeter* meter)) : make(make_) { }

    const QByteArray& Of(qint32 globalId, const LedgerMeter* meter)
    {
        auto known = texts.find(globalId);
        if (known == texts.end())
            known = texts.insert(globalId, make(meter));
        return *known;
    }

private:
    QByteArray (*make)(const LedgerMeter* meter);
    QHash<qint32, QByteArray> texts;
};

class Csv final : public ReadingsWriter {
public:
    using ReadingsWriter::ReadingsWriter;

    void Begin() override { Write("date,time,global_id,uin,number,status,total,t1,t2,t3,t4\n"); }

    void Add(const WrittenReading& reading, const LedgerMeter* meter) override
    {
        line.resize(0);
        line += reading.date + ',' + reading.time + ',' + QByteArray::number(reading.row.globalId) + ',';
        line += texts.Of(reading.row.globalId, meter) + ',' + QByteArray::number(reading.row.status);
        for (const double value : reading.row.energy) {
            line += ',';
            if (reading.row.status == 0)
                AppendNumber(line, value);
        }
        Write(line += '\n');
    }

private:
    static QByteArray Names(const LedgerMeter* meter)
    {
        return meter ? (CsvText(meter->uin) + u',' + CsvText(meter->number)).toUtf8() : ","_ba;
    }

    MeterTexts texts{Names};
    QByteArray line;
};

class Json final : public ReadingsWriter {
public:
    using ReadingsWriter::ReadingsWriter;

    void Begin() override { Write("{\"readings\":["); }

    void Add(const WrittenReading& reading, const LedgerMeter* meter) override
    {
        line = isFirst ? "\n" : ",\n";
        isFirst = false;
        line += "{\"at\":\"" + reading.date + ' ' + reading.time;
        line += "\",\"globalId\":" + QByteArray::number(reading.row.globalId) + texts.Of(reading.row.globalId, meter);
        line += ",\"status\":" + QByteArray::number(reading.row.status) + ",\"energy\":";
        char separator = '[';
        for (const double value : reading.row.energy)
            if (reading.row.status == 0) {
                line += separator;
                AppendNumber(line, value);
                separator = ',';
            }
        line += reading.row.status == 0 ? "]}" : "null}";
        Write(line);
    }

    void End() override { Write("\n]}\n"); }

private:
    static QByteArray Names(const LedgerMeter* meter)
    {
        if (!meter)
            return {};
        const QJsonObject names{{u"uin"_s, Shown(meter->uin.toUtf8())}, {u"number"_s, Shown(meter->number.toUtf8())}};
        QByteArray text = QJsonDocument(names).toJson(QJsonDocument::Compact);
        return text.replace(0, 1, ",").chopped(1); // among other members
    }

    MeterTexts texts{Names};
    QByteArray line;
    bool isFirst = true;
};

class Table final : public ReadingsWriter {
public:
    using ReadingsWriter::ReadingsWriter;

    void Begin() override
    {
        QString head = Texts::tr("date and time").leftJustified(19);
        for (const QString& column : {Texts::tr("total, kWh"), u"T1"_s, u"T2"_s, u"T3"_s, u"T4"_s})
            head += column.rightJustified(Width);
        Write((head + "  "_L1 + Texts::tr("meter") + u'\n').toUtf8());
    }

    void Add(const WrittenReading& reading, const LedgerMeter* meter) override
    {
        line = reading.date + ' ' + reading.time;
        for (const double value : reading.row.energy) {
            QByteArray number;
            if (reading.row.status == 0)
                AppendNumber(number, value);
            line += (reading.row.status == 0 ? number : "-"_ba).rightJustified(Width);
        }
        line += "  " + (meter ? texts.Of(reading.row.globalId, meter) : QByteArray::number(reading.row.globalId));
        if (reading.row.status != 0)
            line += ": " + LedgerWords::WordsOf(GapOf(reading.row.status, meter ? *meter : LedgerMeter())).toUtf8();
        Write(line += '\n');
    }

private:
    static constexpr int Width = 12;

    static QByteArray Name(const LedgerMeter* meter) { return LedgerWords::NameOf(*meter).toUtf8(); }

    MeterTexts texts{Name};
    QByteArray line;
};

} // namespace

void ReadingsWriter::Write(const QByteArray& text)
{
    buffer += text;
    if (buffer.size() >= BufferBytes)
        static_cast<void>(Flush());
}

bool ReadingsWriter::Flush()
{
    const auto size = static_cast<size_t>(buffer.size());
    isWell = isWell && std::fwrite(buffer.constData(), 1, size, out) == size && std::fflush(out) == 0;
    buffer.resize(0);
    return isWell;
}

std::unique_ptr<ReadingsWriter> ReadingsWriterFor(const QString& format, FILE* out)
{
    if (format == "table"_L1)
        return std::make_unique<Table>(out);
    if (format == "csv"_L1)
        return std::make_unique<Csv>(out);
    return format == "json"_L1 ? std::make_unique<Json>(out) : nullptr;
}
