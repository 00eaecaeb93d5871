// Text from the radio in a statement: it stays one value, or the statement fails. The input is the address of a node, a
// line end, and what its meter tells for its time.

#include "fuzztarget.h"
#include "maindatabase.h"
#include "statements.h"
#include "sysvar.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <algorithm>

using namespace Qt::StringLiterals;
using MainBase::Execute;
using MainBase::InLiteral;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static const QCoreApplication application(*argc, *argv);
    static const QTemporaryDir directory;
    SysVar vars;
    vars.BDType = u"sqlite3"_s;
    vars.BaseName = directory.filePath(u"z.db"_s);
    Require(!MainBase::Open(vars).isValid());
    Require(MainBase::Run(u"PRAGMA synchronous=OFF"_s).isActive()); // the disk is not what is tried here
    Require(MainBase::Run(u"PRAGMA journal_mode=MEMORY"_s).isActive());
    Require(MainBase::Run(u"CREATE TABLE time_table(uin TEXT, date_c TEXT, time_c TEXT, date_r TEXT, time_r TEXT)"_s)
                .isActive());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    const qsizetype lineEnd = input.indexOf('\n');
    const QString uin = QString::fromUtf8(input.first(std::max<qsizetype>(0, lineEnd)));
    const QString time = QString::fromUtf8(input.sliced(lineEnd + 1));

    const bool stored =
        Execute(Statements::InsertClockReading, InLiteral(uin), u"d"_s, InLiteral(time), u"e"_s, u"f"_s).isActive();
    Require(stored || input.contains('\0'));
    QSqlQuery row = MainBase::Run(u"SELECT * FROM time_table"_s);
    Require(row.next() == stored);
    if (stored) {
        Require(row.value(0).toString() == uin && row.value(1) == u"d"_s && row.value(2).toString() == time
            && row.value(3) == u"e"_s && row.value(4) == u"f"_s && !row.next());
        Require(MainBase::FirstValueOf(Execute(Statements::ClockReadingCountSince, InLiteral(uin), u"e"_s)) == 1);
    }
    row.finish();
    Require(MainBase::Run(u"DELETE FROM time_table"_s).isActive());
    return 0;
}
