#include "registercsv.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QByteArray Header = "global_id,UIN,Number,Model,Type,KI_Number\n"_ba;

const QByteArray Uin = "000D6F00001733EB"_ba;

QByteArray Meter(const QByteArray& id, const QByteArray& uin = Uin, const QByteArray& number = "1",
    const QByteArray& model = "CE102", const QByteArray& type = "0")
{
    return id + ',' + uin + ',' + number + ',' + model + ',' + type + ",\n";
}

/// The values of all rows, one behind the other.
QString InOneLine(const QList<RegisterRow>& rows)
{
    QStringList values;
    for (const RegisterRow& row : rows)
        values += {row.place, row.globalId, row.uin, row.number, row.model, row.type, row.kiNumber};
    return values.join(u'|');
}

} // namespace

class tst_Register : public QObject {
    Q_OBJECT

private slots:
    void readable_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("row");

        QTest::addRow("byte-order mark, CRLF, semicolons, commas within")
            << "\xEF\xBB\xBFglobal_id;UIN;Number;Model;Type;KI_Number\r\n7;a,b;1;CE102;0;40\r\n"_ba
            << u"f, line 2|7|a,b|1|CE102|0|40"_s;
        QTest::addRow("other order, blanks, quotes around all, no end of line")
            << "\"Type\", Model ,UIN,KI_Number,\"global_id\",Number\n0, CE 102 ,\"a,b;c\",\"\", \"7\",\"say \"\"5\"\"\""_ba
            << u"f, line 2|7|a,b;c|say \"5\"|CE 102|0|"_s;
        QTest::addRow("comments, empty rows of a spreadsheet, letters beyond ASCII")
            << "# 12\" a\n\n\"# quoted, comment\"\n" + Header + "\r\n,,,,,\n  # \n ;;;;\n7,КТП-1,1,CE301,1,ё\n"
            << u"f, line 9|7|КТП-1|1|CE301|1|ё"_s;
        QTest::addRow("header alone") << Header << QString();
    }

    void readable()
    {
        QFETCH(QByteArray, bytes);
        const RegisterText text = ParseRegisterCsv(u"f"_s, bytes);
        QCOMPARE(text.problems, QStringList());
        QTEST(InOneLine(text.rows), "row");
    }

    void problems_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("problems");

        QTest::addRow("all four models and the substation") << Header + Meter("1")
                + Meter("2", "000D6F00001733EC", "", "CE301") + Meter("3", "000D6F00001733ED", "abc", "SET1")
                + Meter("2147483647", "FFFFFFFFFFFFFFFF", "2147483647", "SET3")
                + Meter("4", "0000000000000000", "00070012", "SET3", "1")
                                                            << QString();
        QTest::addRow("empty file") << ""_ba << u"f: there is no header with the names of the columns"_s;
        QTest::addRow("header: unknown, twice, missing")
            << "global_id,UIN,UIN,Model,type,KI_Number\n1,2,3\n"_ba
            << u"f, line 1: the column \"UIN\" is there twice\nf, line 1: there is no column \"type\" in a register\n"
               "f, line 1: the column \"Number\" is missing\nf, line 1: the column \"Type\" is missing"_s;
        QTest::addRow("not UTF-8, binary, open quote, too many; twice; all of it at once")
            << Header + "1,\xCA\xD2\xCF,1,CE301,1,\n" + QByteArray("2,\0,1,CE301,1,\n", 15)
                + "3,\"a,1,CE301,1,\n4,5,,,,,\n" + Meter("5") + Meter("5", Uin, "x", "SET3")
                + Meter("6", "A", "", "CE301", "1") + Meter("7", "B", "", "CE301", "1")
            << u"f, line 2: this is not UTF-8 text\nf, line 3: this is not UTF-8 text\n"
               "f, line 4: a quote is not closed\nf, line 5: there are 7 values under 6 columns\n"
               "f, line 7: the Number of a SET3 must be a whole number from 0 to 2147483647, not \"x\"\n"
               "f, line 7: global_id is \"5\", as in f, line 6\n"
               "f, line 7: the UIN is \"000D6F00001733EB\", as in f, line 6\n"
               "f, line 9: this is a substation meter, as in f, line 8"_s;

        const auto wrong = [](const QByteArray& meter, const char* rule, const char* value) {
            QTest::addRow("%s, not \"%s\"", rule, value) << Header
                    + meter << u"f, line 2: %1, not \"%2\""_s.arg(QLatin1StringView(rule), QLatin1StringView(value));
        };
        for (const char* id : {"", "0", "-1", "007", "1.0", "2147483648"})
            wrong(Meter(id), "global_id must be a whole number from 1 to 2147483647", id);
        for (const char* uin : {"", "000d6f00001733eb", "000D6F00001733E", "000D6F00001733EBA", "000D6F00001733EG"})
            wrong(Meter("1", uin), "the UIN of a node must be 16 digits 0-9 A-F", uin);
        wrong(Meter("1", "0000000000000000"), "the UIN must be that of a node", "0000000000000000");
        wrong(Meter("1", "", "1", "CE301", "1"), "the UIN of a substation meter may be any name", "");
        for (const char* model : {"", "ce102", "SET2"})
            wrong(Meter("1", Uin, "1", model), "Model must be CE102, CE301, SET1 or SET3", model);
        for (const char* model : {"CE102", "SET1"})
            wrong(Meter("1", "KTP", "1", model, "1"), "the substation meter must be a CE301 or a SET3", model);
        for (const char* type : {"", "2", "01"})
            wrong(Meter("1", Uin, "1", "CE102", type), "Type must be 0 (behind a node) or 1 (substation meter)", type);
        for (const char* number : {"", "-1", "12a", "2147483648"})
            wrong(Meter("1", Uin, number, "SET3"), "the Number of a SET3 must be a whole number from 0 to 2147483647",
                number);
    }

    void problems()
    {
        QFETCH(QByteArray, bytes);
        const RegisterText text = ParseRegisterCsv(u"f"_s, bytes);
        QTEST((text.problems + RegisterProblems(text.rows)).join(u'\n'), "problems");
    }
};

QTEST_GUILESS_MAIN(tst_Register)
#include "tst_register.moc"
