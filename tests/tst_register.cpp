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

QByteArray Utf16(const QString& text, bool highFirst)
{
    QByteArray bytes;
    for (const QChar c : text) {
        bytes += static_cast<char>(highFirst ? c.row() : c.cell());
        bytes += static_cast<char>(highFirst ? c.cell() : c.row());
    }
    return bytes;
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
        QTest::addRow("tabs, columns without a name and values at the end")
            << "global_id\tUIN\tNumber\tModel\tType\tKI_Number\t\t \n\t\t\n7\ta;b\t1,5\tCE102\t0\t40\t\t\t\n8\tc\t\t\t\t\n"_ba
            << u"f, line 3|7|a;b|1,5|CE102|0|40|f, line 4|8|c||||"_s;
        const QString unicode = u"\xFEFFglobal_id\tUIN\tNumber\tModel\tType\tKI_Number\r\n7\tКТП\t1\tCE301\t1\tё"_s;
        QTest::addRow("UTF-16, low bytes first") << Utf16(unicode, false) << u"f, line 2|7|КТП|1|CE301|1|ё"_s;
        QTest::addRow("UTF-16, high bytes first") << Utf16(unicode, true) << u"f, line 2|7|КТП|1|CE301|1|ё"_s;
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
                + "3,\"a,1,CE301,1,\n4,5,,,,,x\n" + Meter("5") + Meter("5", Uin, "x", "SET3")
                + Meter("6", "A", "", "CE301", "1") + Meter("7", "B", "", "CE301", "1")
            << u"f, line 2: this is not UTF-8 text; have the spreadsheet save it as \"CSV UTF-8\"\n"
               "f, line 4: a quote is not closed\nf, line 5: there are 7 values under 6 columns\n"
               "f, line 7: the Number of a SET3 must be a whole number from 0 to 2147483647, not \"x\"\n"
               "f, line 7: global_id is \"5\", as in f, line 6\n"
               "f, line 7: the UIN is \"000D6F00001733EB\", as in f, line 6\n"
               "f, line 9: this is a substation meter, as in f, line 8"_s;

        const QString notUtf8 = u"f, line 1: this is not UTF-8 text; have the spreadsheet save it as \"CSV UTF-8\""_s;
        QTest::addRow("UTF-16 without a mark") << Utf16(u"global_id;UIN"_s, false) << notUtf8;
        QTest::addRow("UTF-16, cut in a character") << "\xFF\xFEg\0l"_ba << notUtf8;
        QTest::addRow("UTF-16, half a pair") << "\xFF\xFE\0\xD8g\0"_ba << notUtf8;
        QTest::addRow("no name within the header")
            << "global_id;;UIN;Number;Model;Type;KI_Number"_ba << u"f, line 1: there is no column \"\" in a register"_s;
        QTest::addRow("Cyrillic in the header")
            << "global_id;UIN;Number;М\u043Edel;Type;KI_Number"_ba
            << u"f, line 1: there is no column \"М\u043Edel\" in a register; Cyrillic letters: 1, 2\n"
               "f, line 1: the column \"Model\" is missing"_s;

        const auto wrong = [](const QByteArray& meter, const char* rule, const char* value, const char* remark = "") {
            QTest::addRow("%s, not \"%s\"", rule, value)
                << Header + meter
                << u"f, line 2: %1, not \"%2\"%3"_s.arg(
                       QString::fromUtf8(rule), QString::fromUtf8(value), QString::fromUtf8(remark));
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
            wrong(Meter("1", "KTP", "1", model, "1"), "the Model of a substation meter must be CE301 or SET3", model);
        for (const char* type : {"", "2", "01"})
            wrong(Meter("1", Uin, "1", "CE102", type), "Type must be 0 (behind a node) or 1 (substation meter)", type);
        for (const char* number : {"", "-1", "12a", "2147483648"})
            wrong(Meter("1", Uin, number, "SET3"), "the Number of a SET3 must be a whole number from 0 to 2147483647",
                number);
        for (const char* model : {"CE102", "CE301", "SET1", "SET3"})
            for (const char* number : {"9.21703E+12", "7e3", "-1.E-05"})
                wrong(Meter("1", Uin, number, model),
                    "the Number must have all its digits (in the spreadsheet, make the column text)", number);
        wrong(Meter("1", "000D6F00001733ЕB"), "the UIN of a node must be 16 digits 0-9 A-F", "000D6F00001733ЕB",
            "; the fifteenth letter is Cyrillic");
        wrong(Meter("1", Uin, "1", "CЕ301"), "Model must be CE102, CE301, SET1 or SET3", "CЕ301",
            "; the second letter is Cyrillic");
        wrong(Meter("1", Uin, "1", "СЕ102"), "Model must be CE102, CE301, SET1 or SET3", "СЕ102",
            "; Cyrillic letters: 1, 2");
        wrong("1," + Uin + ",9.2E,CE301,0,\u0100\n", "KI_Number must be of Latin letters, digits and signs (Latin-1)",
            "\u0100");
        QTest::addRow("KI_Number at the end of Latin-1") << Header + "1," + Uin + ",9.2E,CE301,0,\u00FF\n" << QString();
        QTest::addRow("exponent with a comma")
            << "global_id;UIN;Number;Model;Type;KI_Number\n1;" + Uin + ";9,21703E+12;CE301;0;"
            << u"f, line 2: the Number must have all its digits (in the spreadsheet, make the column text), not \"9,21703E+12\""_s;
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
