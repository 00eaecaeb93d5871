#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

struct pg_conn;
struct pg_result;

/// The connection to the centre. Every wait looks several times a second for the end of the process, which then ends
/// here: a transaction that is open is rolled back by the centre. A connection on which nothing is heard for two
/// minutes counts as broken.
class CentreLink final {
public:
    CentreLink();
    ~CentreLink();
    Q_DISABLE_COPY_MOVE(CentreLink)

    /// What came of one request.
    struct Outcome {
        bool done = false;
        QByteArray sqlState; ///< five characters; empty when the connection failed
        QString error; ///< in the centre's words, one line
        bool hasConstraint = false; ///< it names a constraint that was violated
        QByteArray tag; ///< "UPDATE 1"
        QList<QList<QByteArray>> rows; ///< text; NULL is a null one

        /// The centre refuses the values of a row, not the request: no repetition helps.
        [[nodiscard]] bool RefusesValues() const { return sqlState.startsWith("22") || sqlState.startsWith("23"); }
        /// There is no table yet, or no longer, for the date of a row.
        [[nodiscard]] bool LacksMonth() const { return sqlState == "23514" && !hasConstraint; }
    };

    /// The words of a connection string make sense to libpq. Its own complaint might quote a part of the password.
    [[nodiscard]] static bool Understands(const QByteArray& connectionString);

    /// `connectionString` as libpq takes it: key=value words or an URI. Closes an earlier connection.
    [[nodiscard]] Outcome Connect(const QByteArray& connectionString);
    void Close();
    [[nodiscard]] bool IsOpen() const;

    /// One or several statements; the outcome is that of the first that failed, or of the last.
    [[nodiscard]] Outcome Run(const QByteArray& statements);

    /// Sends `data` behind `statement`, a COPY FROM STDIN.
    [[nodiscard]] Outcome Copy(const QByteArray& statement, const QByteArray& data);

    /// `text` between quotes, as a statement takes it. The connection is open.
    [[nodiscard]] QByteArray Literal(const QByteArray& text) const;

private:
    [[nodiscard]] bool WaitFor(short events);
    [[nodiscard]] bool Flush();
    [[nodiscard]] bool PutAll(const QByteArray& data);
    [[nodiscard]] bool Receive();
    [[nodiscard]] Outcome Results();
    [[nodiscard]] Outcome Broken();

    pg_conn* connection = nullptr;
    qint64 lastHeard = 0; // on the monotonic clock, ms
};
