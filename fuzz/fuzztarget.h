#pragma once

#include <QByteArray>

#include <cstdlib>

/// A fuzzer's input as it stands in memory, so that a read behind it is seen.
inline QByteArray InPlace(const quint8* bytes, size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size));
}

/// Ends a fuzzer's run where `holds` does not.
inline void Require(bool holds)
{
    if (!holds)
        std::abort();
}
