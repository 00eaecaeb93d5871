#include "registertable.h"

#include "registertexts.h"

#include <QVariant>

QList<RegisterRow> RegisterRows(QSqlQuery& query, const QString& name)
{
    QList<RegisterRow> rows;
    while (query.next()) {
        RegisterRow row;
        for (int i = 0; const RegisterColumn& column : RegisterColumns)
            row.*column.field = query.value(i++).toString();
        row.place = RegisterTexts::tr("%1, global_id %2").arg(name, row.globalId);
        rows.append(row);
    }
    return rows;
}
