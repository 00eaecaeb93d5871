#include "centrestatements.h"

#include "sourcetable.h"

QByteArray CentreStatements::Filled(const char* statement, const QList<QByteArray>& values)
{
    QByteArray filled;
    for (const char* c = statement; *c; ++c) {
        if (*c == '%' && c[1] >= '1' && c[1] <= '9')
            filled += values[*++c - '1'];
        else
            filled += *c;
    }
    return filled;
}

QByteArray CentreStatements::Literal(const QUuid& source)
{
    return '\'' + source.toByteArray(QUuid::WithoutBraces) + '\'';
}

QByteArray CentreStatements::Kind(std::size_t table)
{
    return '\'' + QByteArray(SourceTables[table].kind.data()) + '\'';
}
