#include "files.h"
#include "log.h"
#include "zdevice.h"
#include "zucastbuffer.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using Lines = QList<QByteArray>;

namespace {

/// From the head, through the links.
Lines Entries(const ZDevice& table)
{
    Lines lines;
    for (const ZDevice* entry = &table; entry; entry = entry->Next)
        lines += entry->UIN + ' ' + entry->Type.toUtf8();
    return lines;
}

Lines Items(const ZUCASTBuffer& head)
{
    Lines lines;
    for (const ZUCASTBuffer* item = &head; item; item = item->Next) {
        if (item->Next && item->Next->Prev != item)
            return {"broken link behind " + item->UIN};
        lines += item->UIN + ' ' + item->Data;
    }
    return lines;
}

} // namespace

class tst_RadioLists : public QObject {
    Q_OBJECT

private slots:
    void nodeTable()
    {
        ZDevice table("M", u"Main Device"_s);
        for (const QByteArray& uin : Lines{"0000000000000000", "0000000000000000\0x"_ba, "A", "M", "A", "B\0x"_ba})
            table.AddDevice(uin, QString::number(Entries(table).size()));
        QCOMPARE(Entries(table), (Lines{"M Main Device", "A 1", "M 2", "A 3", "B\0x 4"_ba}));
        QCOMPARE(table.Find("A")->Type, u"1"_s);
        QVERIFY(!table.Find("B"));

        for (const QByteArray& uin : Lines{"none", "A", "M", "M", "B\0x"_ba})
            table.DeleteDevice(uin);
        QCOMPARE(table.Find("A")->Type, u"3"_s);
        QVERIFY(!table.Find("M")); // the head does not count
        table.AddDevice("C", u"5"_s);
        QCOMPARE(Entries(table), (Lines{"M Main Device", "A 3", "C 5"}));
        table.DeleteDevice("A");
        table.AddDevice("B", u"6"_s);
        QCOMPARE(Entries(table), (Lines{"M Main Device", "C 5", "B 6"}));

        table.DeleteAllDevices();
        QVERIFY(!table.Find("C"));
        table.AddDevice("D", u"6"_s);
        QCOMPARE(Entries(table), (Lines{"M Main Device", "D 6"}));
        table.DeleteAllDevices();
    }

    void nodeTableWithABound()
    {
        ZDevice table("M", u"Main Device"_s, 2);
        for (const QByteArray& uin : Lines{"A", "B", "A", "A", "C", "0000000000000000"})
            if (!table.Heard(uin))
                table.AddDevice(uin, u"FFD:"_s);
        QCOMPARE(Entries(table), (Lines{"M Main Device", "A FFD:", "C FFD:"}));
        QVERIFY(!table.Find("B"));
        table.DeleteAllDevices();
    }

    void manyNodes()
    {
        ZDevice table("M", u"Main Device"_s);
        ZUCASTBuffer head("M", {});
        for (int i = 0; i < 600'000; ++i) {
            const QByteArray uin = QByteArray::number(i % 300'000);
            if (!table.Find(uin))
                table.AddDevice(uin, u"FFD:"_s);
            head.AppendUCAST(uin, "x");
        }
        QCOMPARE(head.GetUCAST("0"), "xx"_ba);
        QCOMPARE(head.Next->UIN, "299999"_ba);
        table.DeleteAllDevices();
        QVERIFY(!table.Next);
    }

    void fragments()
    {
        ZUCASTBuffer head("M", {});
        QCOMPARE(head.GetUCAST("A"), QByteArray());
        head.AppendUCAST("A", "1");
        head.AppendUCAST("B", "2");
        head.SetUCAST("C", "3");
        head.AppendUCAST("M", "own");
        QCOMPARE(head.AppendUCAST("B", "\0x"_ba)->Data, "2\0x"_ba);
        head.SetUCAST("A", "new");
        QCOMPARE(Items(head), (Lines{"M own", "C 3", "B 2\0x"_ba, "A new"}));

        ZUCASTBuffer* const b = head.FindItem("B");
        QVERIFY(!b->FindItem("C"));
        QCOMPARE(b->NewItem("D", "4")->Count, 0);
        for (const char* const uin : {"C", "M", "none"})
            head.DeleteItem(uin);
        b->DeleteAll();
        b->DeleteNext();
        QCOMPARE(Items(head), (Lines{"M own", "B 2\0x"_ba}));

        for (const char* const uin : {"A", "M"})
            for (const char* const data : {"old", "new"})
                head.NewItem(uin, data);
        QCOMPARE(head.GetUCAST("A"), "new"_ba);
        head.DeleteItem("A");
        QCOMPARE(head.GetUCAST("A"), "old"_ba);
        QCOMPARE(head.FindItem("M"), &head);

        delete head.FindItem("M")->Next; // and with it all behind it
        QCOMPARE(Items(head), Lines{"M own"});
        QVERIFY(!head.FindItem("B"));
    }

    void fragmentsWithoutAnEnd()
    {
        QTemporaryDir directory;
        TLog log(directory.filePath(u"log"_s));
        pLog = &log;
        ZUCASTBuffer head("M", {});
        head.AppendUCAST("A", QByteArray(65'535, 'a'));
        QCOMPARE(head.AppendUCAST("A", "b")->Data.size(), 65'536);
        QCOMPARE(head.AppendUCAST("A", "c")->Data, "c"_ba); // an answer that begins now is not lost
        head.AppendUCAST("A", QByteArray(65'536, 'd'));
        QCOMPARE(head.GetUCAST("A"), QByteArray(65'536, 'd'));
        for (int i = 0; i < 2; ++i)
            head.AppendUCAST("M", QByteArray(40'000, 'm'));
        pLog = nullptr;
        const QByteArray lines = Contents(log.Path());
        QCOMPARE(lines.count('\n'), 2); // once for each node
        QVERIFY(lines.contains(" 65536 bytes of node A could not be used and were dropped\n"));
        QVERIFY(lines.contains(" 40000 bytes of node M could not be used and were dropped\n"));
    }

    // Of two empty neighbours a pass removes only the first. A zero byte first counts as empty.
    void fragmentClean()
    {
        ZUCASTBuffer head("M", {});
        ZUCASTBuffer* last = &head;
        for (const QByteArray& bytes : Lines{"", "", "full", "\0b"_ba, "c\0"_ba, "", "", "", ""})
            last = last->NewItem("A", bytes);
        head.Clean();
        QCOMPARE(Items(head), (Lines{"M ", "A ", "A full", "A c\0"_ba, "A ", "A "}));
    }
};

QTEST_GUILESS_MAIN(tst_RadioLists)
#include "tst_radiolists.moc"
