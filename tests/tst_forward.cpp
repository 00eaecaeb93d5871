// The forwarder's pure parts: rows as they are sent, which source a file is, when the register may change.

#include "copytext.h"
#include "sourcechoice.h"
#include "sweepgap.h"

#include <QMap>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace SourceChoice;

namespace {

/// A file's readings, row -> digest, and what the notes say was delivered.
struct File {
    QMap<qint64, qint64> rows;
    QMap<qint64, qint64> notes;

    [[nodiscard]] Evidence AsEvidence() const
    {
        return {.digestOf = [this](std::size_t table, qint64 row) { return table == 0 ? rows.value(row) : 0; },
            .oldestRow = [this](std::size_t table) { return table == 0 && !rows.isEmpty() ? rows.firstKey() : 0; },
            .lastCommon =
                [this](std::size_t, qint64 from) {
                    for (; from > 0; --from)
                        if (notes.contains(from) && notes[from] == rows.value(from))
                            return Mark{from, notes[from]};
                    return Mark{};
                }};
    }
};

QMap<qint64, qint64> Rows(qint64 first, qint64 last, qint64 digests)
{
    QMap<qint64, qint64> rows;
    for (qint64 row = first; row <= last; ++row)
        rows[row] = digests + row;
    return rows;
}

const QUuid One = QUuid::fromString(u"11111111-1111-1111-1111-111111111111"_s);
const QUuid Two = QUuid::fromString(u"22222222-2222-2222-2222-222222222222"_s);
const QUuid Fresh = QUuid::fromString(u"33333333-3333-3333-3333-333333333333"_s);

} // namespace

class tst_forward : public QObject {
    Q_OBJECT

private slots:
    void field_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("sent");
        QTest::addRow("null") << QVariant() << "\\N"_ba;
        QTest::addRow("the text of null") << QVariant(u"\\N"_s) << "\\\\N"_ba;
        QTest::addRow("the end of all data") << QVariant(u"\\."_s) << "\\\\."_ba;
        QTest::addRow("separators") << QVariant(u"a\tb\nc\rd\\"_s) << "a\\tb\\nc\\rd\\\\"_ba;
        QTest::addRow("zero byte") << QVariant(u"a"_s + QChar(u'\0')) << QByteArray("a\0", 2);
        QTest::addRow("empty") << QVariant(u""_s) << ""_ba;
        QTest::addRow("other letters") << QVariant(u"ж€😀"_s) << "ж€😀"_ba;
        QTest::addRow("blob") << QVariant("\xff\t"_ba) << "\xff\\t"_ba;
        QTest::addRow("largest number") << QVariant(Q_INT64_C(9223372036854775807)) << "9223372036854775807"_ba;
        QTest::addRow("a tenth") << QVariant(0.1) << "0.1"_ba;
        QTest::addRow("as precise as it is") << QVariant(123456.78515625) << "123456.78515625"_ba;
        QTest::addRow("beyond single precision") << QVariant(1e300) << "1e+300"_ba;
        QTest::addRow("infinite") << QVariant(qInf()) << "inf"_ba;
    }
    void field()
    {
        QFETCH(const QVariant, value);
        QTEST(CopyText::Field(value), "sent");
    }

    void objection_data()
    {
        QTest::addColumn<QVariant>("date");
        QTest::addColumn<QVariant>("time");
        QTest::addColumn<bool>("isOfReadings"); // and of clock readings, whose time is a text
        QTest::addColumn<bool>("isOfClocks");
        const auto row = [](const char* name, const QVariant& date, const QVariant& time, bool readings, bool clocks) {
            QTest::addRow("%s", name) << date << time << readings << clocks;
        };
        row("right", u"2016-02-29"_s, u"23:59:59"_s, false, false);
        row("no such day", u"2015-02-29"_s, u"08:30:00"_s, true, true);
        row("a word that is a date", u"tomorrow"_s, u"08:30:00"_s, true, true);
        row("another spelling", u"01/02/2016"_s, u"08:30:00"_s, true, true);
        row("a line behind it", u"2016-02-29\n"_s, u"08:30:00"_s, true, true);
        row("no date", QVariant(), u"08:30:00"_s, true, true);
        row("midnight as 24", u"2016-02-29"_s, u"24:00:00"_s, true, false);
        row("a zone", u"2016-02-29"_s, u"08:30:00+3"_s, true, false);
    }
    void objection()
    {
        QFETCH(const QVariant, date);
        QFETCH(const QVariant, time);
        const QVariantList reading{1, 0.0, 0.0, 0.0, 0.0, 0.0, date, time, 0};
        QTEST(!CopyText::Objection(SourceTables[0], reading).isEmpty(), "isOfReadings");
        QTEST(!CopyText::Objection(SourceTables[1], {u"u"_s, u""_s, u""_s, date, time}).isEmpty(), "isOfClocks");
    }

    void choice_data()
    {
        QTest::addColumn<File>("file");
        QTest::addColumn<QUuid>("noted");
        QTest::addColumn<QList<Known>>("known");
        QTest::addColumn<QUuid>("source");
        QTest::addColumn<qint64>("mark");
        QTest::addColumn<bool>("isNew");
        const auto known = [](const QUuid& source, qint64 row, qint64 digests) {
            return Known{source, {Mark{row, digests + row}, Mark{}}};
        };
        const auto row = [](const char* name, const File& file, const QUuid& noted, const QList<Known>& sources,
                             const QUuid& source, qint64 mark, bool isNew) {
            QTest::addRow("%s", name) << file << noted << sources << source << mark << isNew;
        };
        const auto rows = Rows(1, 90, 1000);
        row("first time", {rows, {}}, {}, {}, Fresh, 0, true);
        row("goes on", {rows, {}}, One, {known(One, 80, 1000)}, One, 80, false);
        row("old rows are deleted, the mark's too", {Rows(85, 90, 1000), {}}, One, {known(One, 80, 1000)}, One, 80,
            false);
        row("emptied", {{}, rows}, One, {known(One, 80, 1000)}, Fresh, 0, true);
        row("another file, longer", {Rows(1, 200, 5000), rows}, One, {known(One, 80, 1000)}, Fresh, 0, true);
        auto copy = Rows(1, 60, 1000);
        row("a copy", {copy, Rows(1, 80, 1000)}, One, {known(One, 80, 1000)}, Fresh, 60, true);
        copy.insert(Rows(61, 99, 7000));
        row("a copy that grew", {copy, Rows(1, 80, 1000)}, One, {known(One, 80, 1000)}, Fresh, 60, true);
        row("a copy, no notes of rows", {copy, {}}, One, {known(One, 80, 1000)}, Fresh, 0, true);
        row("notes are lost", {rows, {}}, {}, {known(Two, 99, 5000), known(One, 80, 1000)}, One, 80, false);
        row("notes are of an earlier source", {rows, {}}, Two, {known(Two, 99, 5000), known(One, 80, 1000)}, One, 80,
            false);
        row("the centre is another", {rows, Rows(1, 80, 1000)}, One, {}, One, 0, true);
    }
    void choice()
    {
        QFETCH(const File, file);
        QFETCH(const QUuid, noted);
        QFETCH(const QList<Known>, known);
        const Choice choice = Choose(file.AsEvidence(), noted, known, Fresh);
        QTEST(choice.source, "source");
        QTEST(choice.marks[0].number, "mark");
        QTEST(choice.isNew, "isNew");
    }

    void gap_data()
    {
        QTest::addColumn<QString>("now");
        QTest::addColumn<int>("quietMinutes");
        QTest::addColumn<QString>("newestSweep");
        QTest::addColumn<int>("missing");
        QTest::addColumn<bool>("isNow");
        const auto row = [](const char* name, const QString& now, int quiet, const QString& sweep, int missing,
                             bool isNow) { QTest::addRow("%s", name) << now << quiet << sweep << missing << isNow; };
        row("all have a row", u"08:35:00"_s, 1, u"08:30:00"_s, 0, true);
        row("just now", u"08:35:00"_s, 0, u"08:30:00"_s, 0, false);
        row("one has none", u"08:35:00"_s, 1, u"08:30:00"_s, 1, false);
        row("the sweep before is complete, this one has no row yet", u"08:31:00"_s, 20, u"08:00:00"_s, 0, false);
        row("due in this minute", u"09:00:59"_s, 25, u"08:30:00"_s, 0, false);
        row("due in two minutes", u"08:58:01"_s, 25, u"08:30:00"_s, 0, false);
        row("due in three", u"08:57:59"_s, 25, u"08:30:00"_s, 0, true);
        row("clocks are due soon", u"08:13:59"_s, 5, u"08:00:00"_s, 0, false);
        row("clocks were due", u"08:20:00"_s, 20, u"08:00:00"_s, 0, false);
        row("long quiet, though one has no row", u"08:55:00"_s, 11, u"08:30:00"_s, 1, true);
        row("no sweep yet", u"08:50:00"_s, 11, {}, 5, true);
        row("no sweep yet, known for a short time", u"08:50:00"_s, 5, {}, 5, false);
        row("the clock was ahead", u"08:35:00"_s, 1, u"23:30:00"_s, 0, false);
    }
    void gap()
    {
        QFETCH(const QString, now);
        QFETCH(const int, quietMinutes);
        QFETCH(const QString, newestSweep);
        QFETCH(const int, missing);
        const auto at = [](const QString& time) { return QDateTime::fromString("2016-03-04T"_L1 + time, Qt::ISODate); };
        const SweepGap gap{.timeOfQuery = u":[30]0$"_s,
            .timeOfSetTime = u"00:00$"_s,
            .timeOfGetTime = u":15$"_s,
            .now = at(now),
            .quietMs = quietMinutes * 60000,
            .newestSweep = newestSweep.isEmpty() ? QDateTime() : at(newestSweep),
            .missing = missing};
        QTEST(gap.IsNow(), "isNow");
    }
};

QTEST_GUILESS_MAIN(tst_forward)
#include "tst_forward.moc"
