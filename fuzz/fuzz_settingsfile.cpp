#include "fuzztarget.h"
#include "settingsfile.h"

#include <QFile>
#include <QTemporaryDir>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr auto ByteOrderMark = "\xEF\xBB\xBF";

/// All that a file with these bytes sets, and its problems without the file's name.
QStringList Values(const QByteArray& contents)
{
    static const QTemporaryDir directory;
    static quint64 files = 0; // QSettings knows a file by its name, so each gets its own
    QFile file(directory.filePath(QString::number(++files)));
    Require(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size());
    file.close();

    SettingsFile settings(file.fileName());
    QStringList values;
    for (const QString& key : settings.Keys()) {
        const double real = settings.Real(key, 0.5);
        Require(std::isfinite(real));
        values +=
            {key, settings.Text(key, u"default"_s), QString::number(settings.Integer(key, 7)), QString::number(real)};
    }
    values += settings.Problems().replaceInStrings(file.fileName(), u"the file"_s);
    Require(settings.Integer(u"not/there"_s, 7) == 7 && settings.Text(u"not/there"_s, u"default"_s) == "default"_L1);
    file.remove();
    return values;
}

} // namespace

// QSettings keeps the last files that it read. That looks like a leak after every run, and the search takes longer than
// the run.
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray contents = InPlace(bytes, size);
    const QStringList values = Values(contents);
    const bool binary = contents.contains('\0') || contents.contains("@Variant(") || contents.contains("@DateTime(");
    Require(binary == (values.filter(u"it is binary"_s).size() > 0));
    // An editor's mark in front changes nothing.
    if (!contents.startsWith(ByteOrderMark))
        Require(Values(ByteOrderMark + contents) == values);
    return 0;
}
