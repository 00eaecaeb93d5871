#pragma once

#include "meterregister.h"
#include "sysvar.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <optional>

/// Whose rows are meant where one database holds those of many controllers.
struct CentreView {
    QString conninfo; ///< of the centre; empty: the settings name it
    QString controller; ///< empty: the database is a daemon's own, or its role sees its own rows alone
};

/// The daemon's database, open to be read until the object goes. An operation that fails leaves the reason in Error().
class SiteDatabase {
public:
    /// One object for each name of a connection at a time.
    SiteDatabase(const SysVar& vars, const QString& connection, CentreView centre = {});
    ~SiteDatabase();
    Q_DISABLE_COPY_MOVE(SiteDatabase)

    /// How long to wait for a database that does not answer, or that another program has locked.
    enum class Patience : quint8 {
        Usual, ///< 10 s and 5 s: nobody else waits meanwhile
        Short, ///< 2 s (the least that PostgreSQL's library knows) and 50 ms
    };

    /// Opens a database that is there. Nothing is written, no file made and none left behind; only a log that came
    /// without its index gets one.
    [[nodiscard]] bool OpenToRead(Patience patience = Patience::Usual);

    /// The register.
    [[nodiscard]] std::optional<QList<RegisterRow>> Rows();

    /// For questions of one's own, while this object is there and open.
    [[nodiscard]] QSqlDatabase Connection() const { return database; }
    /// SQLite; else PostgreSQL.
    [[nodiscard]] bool IsFile() const;
    /// As the connection has them: of SQLite the whole path.
    [[nodiscard]] const SysVar& Settings() const { return vars; }

    /// For a person: "database /var/lib/ravelin/z.db", "database meters on 192.168.0.7".
    [[nodiscard]] QString Name() const;
    /// A sentence that begins with the name.
    [[nodiscard]] QString Error() const;

protected:
    [[nodiscard]] bool HasDriver();
    [[nodiscard]] bool HasFile();
    [[nodiscard]] bool Connect();
    [[nodiscard]] bool ShowController();
    [[nodiscard]] bool Run(QSqlQuery& query, const QString& statement);
    /// False. Keeps the reason.
    [[nodiscard]] bool Fail(const QString& why);
    [[nodiscard]] bool Fail(const QSqlError& why) { return Fail(ReasonOf(why)); }
    /// In the database's own words, if it had any.
    [[nodiscard]] static QString ReasonOf(const QSqlError& why);

private:
    SysVar vars;
    QString connection;
    CentreView centre;
    QSqlDatabase database;
    QString error;
};
