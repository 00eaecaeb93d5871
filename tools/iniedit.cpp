#include "iniedit.h"

#include "initext.h"

#include <QRegularExpression>
#include <QStringList>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

QString Written(const QString& value)
{
    static const QRegularExpression plain(u"^[A-Za-z0-9_/.:@+-]*$"_s);
    if (plain.match(value).hasMatch())
        return value;
    return u'"' + QString(value).replace(u'\\', "\\\\"_L1).replace(u'"', "\\\""_L1) + u'"';
}

} // namespace

QString WithSetting(const QString& text, const QString& key, const QString& value)
{
    const QString group = key.section(u'/', 0, 0);
    const QString name = key.section(u'/', 1);
    const QString line = name + u'=' + Written(value);
    std::optional<IniLine> setting;
    std::optional<IniLine> head;
    for (const IniLine& one : IniLines(text)) {
        if (one.kind == IniLine::Kind::Value && one.group == group && one.key == name)
            setting = one; // of several the last one counts
        if (one.kind == IniLine::Kind::Group && one.group == group)
            head = one;
    }
    QStringList lines = text.split(u'\n');
    if (setting) {
        const qsizetype further = setting->value.count(u'\n');
        lines[setting->number - 1] = line;
        lines.remove(setting->number, further);
    } else if (head) {
        lines.insert(head->number, line);
    } else {
        lines.append({u'[' + group + u']', line, QString()});
    }
    return lines.join(u'\n');
}
