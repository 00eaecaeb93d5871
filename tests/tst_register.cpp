#include "registercsv.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QByteArray Header = "global_id,UIN,Number,Model,Type,KI_Number\n"_ba;

QByteArray Meter(const QByteArray& id, const QByteArray& uin, const QByteArray& number = "1",
    const QByteArray& model = "CE102", const QByteArray& type = "0")
{
    return id + ',' + uin + ',' + number + ',' + model + ',' + type + ",\n";
}

QString InOneLine(const RegisterRow& row)
{
    return QStringList{row.place, row.globalId, row.uin, row.number, row.model, row.type, row.kiNumber}.join(u'|');
}

QStringList Keys(const QList<RegisterRow>& rows)
{
    QStringList keys;
    for (const RegisterRow& row : rows)
        keys.append(row.globalId + row.number);
    return keys;
}

} // namespace

class tst_Register : public QObject {
    Q_OBJECT

private slots:
    void readable_data();
    void readable();
    void problems_data();
    void problems();
    void plannedChange();
};

void tst_Register::readable_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("rows");

    const QStringList one{u"f, line 2|7|000D6F00001733EB|60217|CE102|0|40"_s};
    QTest::addRow("plain") << Header + "7,000D6F00001733EB,60217,CE102,0,40\n" << one;
    QTest::addRow("last line without end") << Header + "7,000D6F00001733EB,60217,CE102,0,40" << one;
    QTest::addRow("byte-order mark, CRLF, semicolons")
        << "\xEF\xBB\xBFglobal_id;UIN;Number;Model;Type;KI_Number\r\n7;000D6F00001733EB;60217;CE102;0;40\r\n"_ba << one;
    QTest::addRow("other order, quotes, blanks around")
        << "\"Type\", Model ,UIN,KI_Number,\"global_id\",Number\n0, CE102 ,\"000D6F00001733EB\",\"40\", \"7\",60217\n"_ba
        << one;
    QTest::addRow("separators and quotes inside quotes, blanks within")
        << Header + "7,\"a,b;c\",\"say \"\"5\"\"\",CE 102,0,\"\"\n"
        << QStringList{u"f, line 2|7|a,b;c|say \"5\"|CE 102|0|"_s};
    QTest::addRow("commas in a file of semicolons")
        << "global_id;UIN;Number;Model;Type;KI_Number\n7;a,b;1;CE102;0;\n"_ba
        << QStringList{u"f, line 2|7|a,b|1|CE102|0|"_s};
    QTest::addRow("comments, empty rows of a spreadsheet, letters beyond ASCII")
        << "# 12\" a\n\n\"# quoted, comment\"\n" + Header + "\r\n,,,,,\n  # \n ;;;;\n7,КТП-1,1,CE301,1,ё\n"
        << QStringList{u"f, line 9|7|КТП-1|1|CE301|1|ё"_s};
    QTest::addRow("header alone") << Header << QStringList();
}

void tst_Register::readable()
{
    QFETCH(QByteArray, bytes);
    const RegisterText text = ParseRegisterCsv(u"f"_s, bytes);
    QCOMPARE(text.problems, QStringList());
    QStringList rows;
    for (const RegisterRow& row : text.rows)
        rows.append(InOneLine(row));
    QTEST(rows, "rows");
}

void tst_Register::problems_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("problems");

    const QByteArray uin = "000D6F00001733EB"_ba;
    QTest::addRow("all four models and the substation") << Header + Meter("1", uin)
            + Meter("2", "000D6F00001733EC", "", "CE301") + Meter("3", "000D6F00001733ED", "abc", "SET1")
            + Meter("2147483647", "FFFFFFFFFFFFFFFF", "2147483647", "SET3")
            + Meter("4", "0000000000000000", "00070012", "SET3", "1")
                                                        << QStringList();

    QTest::addRow("empty file") << ""_ba << QStringList{u"f: there is no header with the names of the columns"_s};
    QTest::addRow("header: unknown, twice, missing")
        << "global_id,UIN,UIN,Model,type,KI_Number\n1,2,3\n"_ba
        << QStringList{u"f, line 1: the column \"UIN\" is there twice"_s,
               u"f, line 1: there is no column \"type\" in a register"_s,
               u"f, line 1: the column \"Number\" is missing"_s, u"f, line 1: the column \"Type\" is missing"_s};
    QTest::addRow("not UTF-8, binary, open quote, too few, too many")
        << Header + "1,\xCA\xD2\xCF,1,CE301,1,\n" + QByteArray("2,\0,1,CE301,1,\n", 15) + "3,\"a,1,CE301,1,\n4,5\n"
            + "5,000D6F00001733EB,1,CE102,0,,\n"
        << QStringList{u"f, line 2: this is not UTF-8 text"_s, u"f, line 3: this is not UTF-8 text"_s,
               u"f, line 4: a quote is not closed"_s, u"f, line 5: there are 2 values under 6 columns"_s,
               u"f, line 6: there are 7 values under 6 columns"_s};

    for (const char* id : {"", "0", "-1", "007", "1.0", "2147483648", "1e3", "x"})
        QTest::addRow("global_id %s", id)
            << Header + Meter(id, uin)
            << QStringList{u"f, line 2: global_id must be a whole number from 1 to 2147483647, not \"%1\""_s.arg(
                   QLatin1StringView(id))};
    for (const char* wrong : {"", "000d6f00001733eb", "000D6F00001733E", "000D6F00001733EBA", "000D6F00001733EG"})
        QTest::addRow("UIN of a node %s", wrong)
            << Header + Meter("1", wrong)
            << QStringList{u"f, line 2: the UIN of a node must be 16 digits 0-9 A-F, not \"%1\""_s.arg(
                   QLatin1StringView(wrong))};
    QTest::addRow("no node") << Header + Meter("1", "0000000000000000")
                             << QStringList{u"f, line 2: the UIN must be that of a node, not \"0000000000000000\""_s};
    QTest::addRow("substation without UIN")
        << Header + Meter("1", "", "", "CE301", "1")
        << QStringList{u"f, line 2: the UIN of a substation meter may be any name, not \"\""_s};
    for (const char* model : {"", "ce102", "SET2", "CE1020"})
        QTest::addRow("model %s", model)
            << Header + Meter("1", uin, "1", model)
            << QStringList{
                   u"f, line 2: Model must be CE102, CE301, SET1 or SET3, not \"%1\""_s.arg(QLatin1StringView(model))};
    for (const char* model : {"CE102", "SET1"})
        QTest::addRow("substation %s", model)
            << Header + Meter("1", "KTP", "1", model, "1")
            << QStringList{u"f, line 2: the substation meter must be a CE301 or a SET3, not \"%1\""_s.arg(
                   QLatin1StringView(model))};
    for (const char* type : {"", "2", "01", "x"})
        QTest::addRow("type %s", type)
            << Header + Meter("1", uin, "1", "CE102", type)
            << QStringList{u"f, line 2: Type must be 0 (behind a node) or 1 (substation meter), not \"%1\""_s.arg(
                   QLatin1StringView(type))};
    for (const char* number : {"", "-1", "12a", "2147483648"})
        QTest::addRow("SET3 number %s", number)
            << Header + Meter("1", uin, number, "SET3")
            << QStringList{
                   u"f, line 2: the Number of a SET3 must be a whole number from 0 to 2147483647, not \"%1\""_s.arg(
                       QLatin1StringView(number))};
    QTest::addRow("twice, and all of it at once")
        << Header + Meter("5", uin) + "short\n" + Meter("5", uin, "x", "SET3") + Meter("6", "A", "", "CE301", "1")
            + Meter("7", "B", "", "CE301", "1")
        << QStringList{u"f, line 3: there are 1 values under 6 columns"_s,
               u"f, line 4: the Number of a SET3 must be a whole number from 0 to 2147483647, not \"x\""_s,
               u"f, line 4: global_id is \"5\", as in f, line 2"_s,
               u"f, line 4: the UIN is \"000D6F00001733EB\", as in f, line 2"_s,
               u"f, line 6: this is a substation meter, as in f, line 5"_s};
}

void tst_Register::problems()
{
    QFETCH(QByteArray, bytes);
    const RegisterText text = ParseRegisterCsv(u"f"_s, bytes);
    QTEST(text.problems + RegisterProblems(text.rows), "problems");
}

void tst_Register::plannedChange()
{
    const auto rows = [](const QByteArray& meters) { return ParseRegisterCsv(u"f"_s, Header + meters).rows; };
    const RegisterChange change = PlannedChange(rows(Meter("1", "A") + Meter("2", "B") + Meter("3", "C")),
        rows(Meter("4", "D") + Meter("3", "C") + Meter("2", "B", "9")));
    QCOMPARE(Keys(change.added), QStringList{u"41"_s});
    QCOMPARE(Keys(change.changed), QStringList{u"29"_s});
    QCOMPARE(Keys(change.unchanged), QStringList{u"31"_s});
    QCOMPARE(Keys(change.kept), QStringList{u"11"_s});
}

QTEST_GUILESS_MAIN(tst_Register)
#include "tst_register.moc"
