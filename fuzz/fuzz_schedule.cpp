// A pattern out of the settings; the first two bytes of the input choose the minute.

#include "fuzztarget.h"
#include "schedule.h"

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    if (size < 2)
        return 0;
    const QDateTime monthBegins(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC);
    const QString stamp = Schedule::Stamp(monthBegins.addSecs(60 * (256 * bytes[0] + bytes[1])));
    Require(stamp.size() == 8);
    const QString text = QString::fromUtf8(InPlace(bytes + 2, size - 2));
    Require(!Schedule::Matches(text, stamp) || Schedule::ErrorIn(text).isEmpty());
    // Qt escapes a zero character as an octal number, which goes on with the digits behind it.
    if (!text.contains(QChar(u'\0')))
        Require(Schedule::Matches(QRegularExpression::escape(text), stamp) == stamp.contains(text));
    return 0;
}
