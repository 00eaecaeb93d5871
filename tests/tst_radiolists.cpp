#include "zdevice.h"
#include "zucastbuffer.h"

#include <QTest>

using namespace Qt::StringLiterals;

using Lines = QList<QByteArray>;

namespace {

/// From the head, through the links.
Lines Entries(const ZDevice& table)
{
    Lines lines;
    for (const ZDevice* entry = &table; entry; entry = entry->Next)
        lines.append(entry->UIN + ' ' + entry->Type.toUtf8());
    return lines;
}

/// There and back again, so that both links are seen.
Lines Items(const ZUCASTBuffer& head)
{
    Lines lines;
    for (const ZUCASTBuffer* item = &head; item; item = item->Next) {
        if (item->Next && item->Next->Prev != item)
            return {"broken link behind " + item->UIN};
        lines.append(item->UIN + ' ' + item->Data);
    }
    return lines;
}

} // namespace

class tst_RadioLists : public QObject {
    Q_OBJECT

private slots:
    void nodeTable();
    void manyNodes();
    void fragments();
    void fragmentDuplicates();
    void fragmentClean();
};

void tst_RadioLists::nodeTable()
{
    ZDevice table("M"_ba, u"Main Device"_s);
    table.AddDevice("0000000000000000"_ba, u"FFD:"_s);
    table.AddDevice("0000000000000000\0x"_ba, u"FFD:"_s);
    QCOMPARE(Entries(table), Lines{"M Main Device"});
    table.DeleteAllDevices();
    QVERIFY(!table.Find("M"_ba));

    table.AddDevice("A"_ba, u"1"_s);
    table.AddDevice("M"_ba, u"2"_s);
    table.AddDevice("A"_ba, u"3"_s);
    table.AddDevice("B\0x"_ba, u"4"_s);
    QCOMPARE(Entries(table), (Lines{"M Main Device", "A 1", "M 2", "A 3", "B\0x 4"_ba}));
    QCOMPARE(table.Find("A"_ba)->Type, u"1"_s);
    QVERIFY(!table.Find("B"_ba));

    table.DeleteDevice("none"_ba);
    table.DeleteDevice("A"_ba);
    QCOMPARE(table.Find("A"_ba)->Type, u"3"_s);
    table.DeleteDevice("M"_ba);
    table.DeleteDevice("M"_ba);
    table.DeleteDevice("B\0x"_ba);
    table.AddDevice("C"_ba, u"5"_s);
    QCOMPARE(Entries(table), (Lines{"M Main Device", "A 3", "C 5"}));

    table.DeleteAllDevices();
    table.AddDevice("D"_ba, u"6"_s);
    QCOMPARE(Entries(table), (Lines{"M Main Device", "D 6"}));
    QVERIFY(!table.Find("C"_ba));
    table.DeleteAllDevices();
}

void tst_RadioLists::manyNodes()
{
    ZDevice table("M"_ba, u"Main Device"_s);
    ZUCASTBuffer head("M"_ba, {});
    for (int i = 0; i < 300'000; ++i) {
        const QByteArray uin = QByteArray::number(i);
        table.AddDevice(uin, u"FFD:"_s);
        head.AppendUCAST(uin, "x"_ba);
    }
    for (int i = 0; i < 300'000; ++i) {
        const QByteArray uin = QByteArray::number(i);
        QVERIFY(table.Find(uin));
        head.AppendUCAST(uin, "y"_ba);
    }
    QCOMPARE(head.GetUCAST("0"_ba), "xy"_ba);
    QCOMPARE(head.Next->UIN, "299999"_ba);
    table.DeleteAllDevices();
    QVERIFY(!table.Next);
}

void tst_RadioLists::fragments()
{
    ZUCASTBuffer head("M"_ba, {});
    QCOMPARE(head.GetUCAST("A"_ba), QByteArray());
    QCOMPARE(Items(head), Lines{"M "});

    head.AppendUCAST("A"_ba, "1"_ba);
    head.AppendUCAST("B"_ba, "2"_ba);
    head.SetUCAST("C"_ba, "3"_ba);
    QCOMPARE(Items(head), (Lines{"M ", "C 3", "B 2", "A 1"}));

    head.AppendUCAST("M"_ba, "own"_ba);
    QCOMPARE(head.AppendUCAST("B"_ba, "\0x"_ba)->Data, "2\0x"_ba);
    head.SetUCAST("A"_ba, ""_ba);
    QCOMPARE(Items(head), (Lines{"M own", "C 3", "B 2\0x"_ba, "A "}));

    ZUCASTBuffer* const b = head.FindItem("B"_ba);
    QVERIFY(!b->FindItem("C"_ba));
    QCOMPARE(b->NewItem("D"_ba, "4"_ba)->Count, 0);
    head.DeleteItem("C"_ba);
    head.DeleteItem("M"_ba);
    head.DeleteItem("none"_ba);
    QCOMPARE(Items(head), (Lines{"M own", "B 2\0x"_ba, "D 4", "A "}));

    b->DeleteAll();
    b->DeleteNext();
    QCOMPARE(Items(head), (Lines{"M own", "B 2\0x"_ba}));
    QVERIFY(!head.FindItem("A"_ba));
}

void tst_RadioLists::fragmentDuplicates()
{
    ZUCASTBuffer head("M"_ba, {});
    head.NewItem("A"_ba, "old"_ba);
    head.NewItem("A"_ba, "new"_ba);
    QCOMPARE(head.GetUCAST("A"_ba), "new"_ba);
    head.DeleteItem("A"_ba);
    QCOMPARE(head.GetUCAST("A"_ba), "old"_ba);
    head.NewItem("M"_ba, "behind"_ba);
    QCOMPARE(head.FindItem("M"_ba), &head);
}

// Of two empty neighbours a pass removes only the first. A zero byte first counts as empty.
void tst_RadioLists::fragmentClean()
{
    ZUCASTBuffer head("M"_ba, {});
    ZUCASTBuffer* last = &head;
    for (const QByteArray& bytes : Lines{"", "", "full", "\0b"_ba, "c\0"_ba, "", "", "", ""})
        last = last->NewItem("A"_ba, bytes);
    head.Clean();
    QCOMPARE(Items(head), (Lines{"M ", "A ", "A full", "A c\0"_ba, "A ", "A "}));
    head.Clean();
    head.Clean();
    QCOMPARE(Items(head), (Lines{"M ", "A full", "A c\0"_ba}));
}

QTEST_GUILESS_MAIN(tst_RadioLists)
#include "tst_radiolists.moc"
