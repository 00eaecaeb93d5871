#include "registertable.h"

#include <QVariant>

using namespace Qt::StringLiterals;

QList<RegisterRow> RegisterRows(QSqlQuery& query, const QString& name)
{
    QList<RegisterRow> rows;
    while (query.next()) {
        RegisterRow row;
        for (int i = 0; const RegisterColumn& column : RegisterColumns)
            row.*column.field = query.value(i++).toString();
        row.place = u"%1, global_id %2"_s.arg(name, row.globalId);
        rows.append(row);
    }
    return rows;
}
