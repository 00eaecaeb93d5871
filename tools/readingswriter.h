#pragma once

#include "ledgermeter.h"
#include "storedsweep.h"

#include <QByteArray>
#include <QHash>

#include <cstdio>
#include <memory>

/// A row of the readings as it is written.
struct WrittenReading {
    QByteArray date; ///< as the database has them, without quotes and control characters
    QByteArray time;
    ReadingRow row;
};

/// Writes rows as they come and keeps none of them.
class ReadingsWriter {
public:
    explicit ReadingsWriter(FILE* out_) : out(out_) { }
    virtual ~ReadingsWriter() = default;
    Q_DISABLE_COPY_MOVE(ReadingsWriter)

    /// `meter`: null when the register does not know it.
    virtual void Add(const WrittenReading& reading, const LedgerMeter* meter) = 0;
    /// What stands before and behind all rows.
    virtual void Begin() { }
    virtual void End() { }

    /// Hands on what is still here. False when something could not be written, now or before.
    [[nodiscard]] bool Flush();

protected:
    void Write(const QByteArray& text);

private:
    FILE* out;
    QByteArray buffer;
    bool isWell = true;
};

/// One of "table", "csv", "json"; null for another name.
[[nodiscard]] std::unique_ptr<ReadingsWriter> ReadingsWriterFor(const QString& format, FILE* out);
