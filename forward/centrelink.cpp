#include "centrelink.h"

#include "clock.h"
#include "ending.h"
#include "forwardtexts.h"
#include "hostlookup.h"

#include <algorithm>
#include <array>
#include <libpq-fe.h>

#include <poll.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int LookEveryMs = 250;
constexpr qint64 LongestSilenceMs = 120000;
constexpr qsizetype PieceBytes = 1 << 16;

QString OneLine(const char* text)
{
    return QString::fromUtf8(text).simplified();
}

CentreLink::Outcome Read(const PGresult* result)
{
    CentreLink::Outcome outcome;
    const ExecStatusType status = PQresultStatus(result);
    outcome.done = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || status == PGRES_COPY_IN
        || status == PGRES_EMPTY_QUERY;
    outcome.tag = PQcmdStatus(const_cast<PGresult*>(result));
    if (!outcome.done) {
        outcome.sqlState = PQresultErrorField(result, PG_DIAG_SQLSTATE);
        const char* const primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
        outcome.error = OneLine(primary ? primary : PQresultErrorMessage(result));
        const char* const constraint = PQresultErrorField(result, PG_DIAG_CONSTRAINT_NAME);
        outcome.hasConstraint = constraint && *constraint;
    }
    for (int row = 0; row < PQntuples(result); ++row) {
        QList<QByteArray> values;
        for (int column = 0; column < PQnfields(result); ++column)
            values.append(
                PQgetisnull(result, row, column) ? QByteArray() : QByteArray(PQgetvalue(result, row, column)));
        outcome.rows.append(values);
    }
    return outcome;
}

} // namespace

CentreLink::CentreLink() = default;

CentreLink::~CentreLink()
{
    Close();
}

void CentreLink::Close()
{
    PQfinish(connection);
    connection = nullptr;
}

bool CentreLink::IsOpen() const
{
    return connection && PQstatus(connection) == CONNECTION_OK;
}

bool CentreLink::Understands(const QByteArray& connectionString)
{
    PQconninfoOption* const options = PQconninfoParse(connectionString.constData(), nullptr);
    PQconninfoFree(options);
    return options;
}

CentreLink::Outcome CentreLink::Connect(const QByteArray& connectionString)
{
    Close();
    if (const QString problem = LookUpHosts(connectionString); !problem.isEmpty())
        return {.done = false, .sqlState = {}, .error = problem, .tag = {}, .rows = {}};
    // What the connection string says of the same counts more. A link that vanished is noticed within a minute.
    const std::array keywords{"keepalives_idle", "keepalives_interval", "keepalives_count", "tcp_user_timeout",
        "fallback_application_name", "client_encoding", "dbname", static_cast<const char*>(nullptr)};
    const std::array values{"20", "10", "3", "60000", "ravelin-forward", "UTF8", connectionString.constData(),
        static_cast<const char*>(nullptr)};
    connection = PQconnectStartParams(keywords.data(), values.data(), 1);
    if (!connection || PQstatus(connection) == CONNECTION_BAD)
        return Broken();
    lastHeard = MonotonicMs();
    PostgresPollingStatusType next = PGRES_POLLING_WRITING;
    while (next != PGRES_POLLING_OK) {
        if (next == PGRES_POLLING_FAILED || !WaitFor(next == PGRES_POLLING_READING ? POLLIN : POLLOUT))
            return Broken();
        next = PQconnectPoll(connection);
    }
    PQsetnonblocking(connection, 1);
    return {.done = true, .sqlState = {}, .error = {}, .tag = {}, .rows = {}};
}

CentreLink::Outcome CentreLink::Run(const QByteArray& statements)
{
    if (!IsOpen() || PQsendQuery(connection, statements.constData()) == 0 || !Flush())
        return Broken();
    return Results();
}

CentreLink::Outcome CentreLink::Copy(const QByteArray& statement, const QByteArray& data)
{
    if (const Outcome begun = Run(statement); !begun.done)
        return begun;
    if (!PutAll(data) || PQputCopyEnd(connection, nullptr) < 0 || !Flush())
        return Broken();
    return Results();
}

QByteArray CentreLink::Literal(const QByteArray& text) const
{
    char* const literal = PQescapeLiteral(connection, text.constData(), static_cast<std::size_t>(text.size()));
    const QByteArray copy(literal ? literal : "''");
    PQfreemem(literal);
    return copy;
}

// Also what the connection's silence means is decided here.
bool CentreLink::WaitFor(short events)
{
    for (;;) {
        Ending::LeaveIfRequested();
        pollfd descriptor{.fd = PQsocket(connection), .events = events, .revents = 0};
        if (descriptor.fd < 0)
            return false;
        const int ready = ::poll(&descriptor, 1, LookEveryMs);
        if (ready > 0) {
            lastHeard = MonotonicMs();
            return true;
        }
        if (MonotonicMs() - lastHeard > LongestSilenceMs)
            return false;
    }
}

bool CentreLink::Flush()
{
    lastHeard = MonotonicMs();
    for (;;) {
        const int left = PQflush(connection);
        if (left <= 0)
            return left == 0;
        if (!WaitFor(POLLIN | POLLOUT) || PQconsumeInput(connection) == 0)
            return false;
    }
}

bool CentreLink::PutAll(const QByteArray& data)
{
    for (qsizetype sent = 0; sent < data.size();) {
        const auto piece = static_cast<int>(std::min(PieceBytes, data.size() - sent));
        const int taken = PQputCopyData(connection, data.constData() + sent, piece);
        if (taken < 0 || !Flush())
            return false;
        if (taken > 0)
            sent += piece;
    }
    return true;
}

bool CentreLink::Receive()
{
    while (PQisBusy(connection))
        if (!WaitFor(POLLIN) || PQconsumeInput(connection) == 0)
            return false;
    return true;
}

CentreLink::Outcome CentreLink::Results()
{
    Outcome outcome;
    bool isFirst = true;
    for (;;) {
        if (!Receive())
            return Broken();
        PGresult* const result = PQgetResult(connection);
        if (!result)
            break;
        if (isFirst || outcome.done)
            outcome = Read(result);
        isFirst = false;
        const bool isCopy = PQresultStatus(result) == PGRES_COPY_IN;
        PQclear(result);
        if (isCopy)
            break;
    }
    return IsOpen() ? outcome : Broken();
}

CentreLink::Outcome CentreLink::Broken()
{
    Outcome outcome;
    outcome.error = connection ? OneLine(PQerrorMessage(connection)) : ForwardTexts::tr("no memory");
    if (outcome.error.isEmpty())
        outcome.error = ForwardTexts::tr("the centre does not answer");
    Close();
    return outcome;
}
