#pragma once

#include "httprequest.h"
#include "httpresponse.h"

#include <QHash>
#include <QString>

/// The page and what it loads, out of the resources of the program. The page may load nothing from elsewhere.
class ConsoleFiles final {
public:
    /// `prefix` as ":/console"; "/" is its index.html.
    explicit ConsoleFiles(QString prefix_) : prefix(std::move(prefix_)) { }

    /// 200 with the file, 304 when the reader has it already, 404.
    [[nodiscard]] HttpResponse Answer(const HttpRequest& request);

private:
    [[nodiscard]] QByteArray Tag(const QString& name, const QByteArray& contents);

    QString prefix;
    QHash<QString, QByteArray> tags;
};
