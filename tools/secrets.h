#pragma once

#include <QString>
#include <QStringList>

/// `text` with three stars for each of `secrets`, and for whatever else reads like a password: behind a word such as
/// "password=", and in an address "://user:password@host". Rather too much goes than too little.
[[nodiscard]] QString WithoutSecrets(QString text, const QStringList& secrets);
