#include "httpresponse.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

HttpResponse ErrorResponse(int status, const QString& text)
{
    return {.status = status,
        .contentType = "application/json"_ba,
        .body = QJsonDocument(QJsonObject{{u"error"_s, text}}).toJson(QJsonDocument::Compact) + '\n',
        .headers = {}};
}
