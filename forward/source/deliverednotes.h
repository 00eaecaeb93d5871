#pragma once

#include "sourcetable.h"

#include <QSqlDatabase>
#include <QUuid>

#include <functional>
#include <optional>

/// What the forwarder remembers of a source, in an SQLite file of its own beside it: which source it is, what was
/// delivered, row by row, and what --status tells. The centre's marks alone decide what is delivered next. Without
/// these notes nothing is lost and nothing is doubled, but a copy of the file that is put back is delivered from its
/// first row. That is why a failure to write them stops nothing: it is told once, and once more when it is over.
class DeliveredNotes final {
public:
    /// The notes of how many rows of each table are kept: of 200 meters, two months.
    static constexpr qint64 MostRows = 500000;

    enum class Access : quint8 { Write, Read };

    /// `path` is the notes' own file. A file that is damaged is replaced. With `Read` nothing is made or changed.
    explicit DeliveredNotes(const QString& path, Access access = Access::Write);
    ~DeliveredNotes();
    Q_DISABLE_COPY_MOVE(DeliveredNotes)

    /// Null when it is not known.
    [[nodiscard]] QUuid Source();
    /// Another source begins: of its rows those up to `marks` are the ones that were delivered before.
    void BeginSource(const QUuid& source, const Marks& marks);

    void NoteRows(std::size_t table, const QList<SourceRow>& rows);

    /// The last row, at most that of number `from`, for which `isSame` finds the digest that was delivered; 0 when
    /// there is none.
    [[nodiscard]] Mark LastCommon(std::size_t table, qint64 from, const std::function<qint64(qint64)>& digestOf);

    /// A short text under a name, for --status and for the register.
    void Note(const QString& name, const QString& text);
    /// Empty when there is none.
    [[nodiscard]] QString Noted(const QString& name);

private:
    [[nodiscard]] bool Open();
    void Begin();
    [[nodiscard]] bool Run(const QString& statement, const QVariantList& values = {});
    [[nodiscard]] QVariant Value(const QString& statement, const QVariantList& values);
    void Failed(const QString& why);

    const QString path;
    const Access access;
    QSqlDatabase database;
};

/// The notes of the source file `source`, and the file that is locked while one forwarder reads it.
[[nodiscard]] QString NotesPathOf(const QString& source);
[[nodiscard]] QString LockPathOf(const QString& source);
