#pragma once

#include "command.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <functional>
#include <memory>
#include <optional>

/// The database of many controllers (share/schema/fleet.sql), as the role that owns it. A function that fails leaves
/// the reason in Error().
class FleetCentre final {
public:
    /// As share/schema/fleet.sql makes it.
    static constexpr int Version = 1;

    ~FleetCentre();
    Q_DISABLE_COPY_MOVE(FleetCentre)

    /// Adds the option that names the centre.
    static void AddOptions(CommandLine& line);

    /// Opened as "--centre" says, or else as the settings of a daemon do. Null after the reason was told.
    [[nodiscard]] static std::unique_ptr<FleetCentre> Opened(const CommandLine& line);

    /// The same, and the schema is there and of this version.
    [[nodiscard]] static std::unique_ptr<FleetCentre> OpenedWithSchema(const CommandLine& line);

    [[nodiscard]] QSqlDatabase Connection() const { return database; }

    /// 0: there is no schema of a fleet. None when that cannot be found out.
    [[nodiscard]] std::optional<int> SchemaVersion();

    /// Complains of a version that this program does not know.
    [[nodiscard]] static bool Knows(int version);

    /// Runs one statement with its values bound.
    [[nodiscard]] bool Run(const QString& statement, const QVariantList& values = {});

    /// The rows that it gives, read to their end.
    [[nodiscard]] std::optional<QList<QVariantList>> Rows(const QString& statement, const QVariantList& values = {});

    /// Does all of `work` or nothing.
    [[nodiscard]] bool InTransaction(const std::function<bool()>& work);

    /// Leaves `why` in Error(). False.
    [[nodiscard]] bool Fail(const QString& why);

    /// A sentence with the database's own words, in one line.
    [[nodiscard]] QString Error() const { return error; }

    /// A name, or a text, as it stands in a statement.
    [[nodiscard]] static QString Identifier(QString name);
    [[nodiscard]] static QString Literal(QString text);

private:
    FleetCentre();
    [[nodiscard]] bool Open();
    [[nodiscard]] bool Take(const CommandLine& line);

    QSqlDatabase database;
    QString error;
};
