#pragma once

#include <QByteArray>
#include <QList>
#include <QUuid>

/// What is asked of the centre, each filled with Literal() texts and numbers in the places %1, %2, ... Settings hold
/// for one transaction alone: a pooler between may give each transaction to another connection.
namespace CentreStatements {

/// A transaction that waits must end before its forwarder is thought lost: the marks are locked in it.
inline constexpr auto Begin = "BEGIN; SET LOCAL lock_timeout = '20s'; SET LOCAL statement_timeout = '100s'; "
                              "SET LOCAL idle_in_transaction_session_timeout = '60s'; "
                              "SET LOCAL tcp_keepalives_idle = 30; SET LOCAL tcp_keepalives_interval = 10; "
                              "SET LOCAL tcp_keepalives_count = 3";

inline constexpr auto Schema = "SELECT version, kept_since FROM fleet_schema";
inline constexpr auto Self = "SELECT controller, register_version FROM fleet_self";
inline constexpr auto Today = "SELECT current_date";

inline constexpr auto Marks = "SELECT source, kind, last_row, last_digest FROM forward_marks";
inline constexpr auto NewMark = "INSERT INTO forward_marks (source, kind, last_row, last_digest, seen_at) "
                                "VALUES (%1, %2, %3, %4, now()) ON CONFLICT DO NOTHING";
/// First in its transaction: one whose forwarder was killed may still be on its way to its end, and this waits for it.
inline constexpr auto MoveMark = "UPDATE forward_marks SET last_row = %3, last_digest = %4, delivered_at = now(), "
                                 "seen_at = now() WHERE source = %1 AND kind = %2 AND last_row = %5";
inline constexpr auto Seen =
    "UPDATE forward_marks SET newest_row = %3, seen_at = now() WHERE source = %1 AND kind = %2";

inline constexpr auto Copy = "COPY %1 (%2) FROM STDIN";
inline constexpr auto DeadLetter =
    "INSERT INTO dead_letters (source, kind, source_row, sqlstate, reason, content) VALUES (%1, %2, %3, %4, %5, %6)";

inline constexpr auto BeginReading =
    "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY; SET LOCAL statement_timeout = '100s'";
inline constexpr auto Register = "SELECT global_id, \"UIN\", \"Number\", \"Model\", \"Type\", \"KI_Number\" "
                                 "FROM \"Counters\" ORDER BY global_id";
inline constexpr auto ClearRegister = "DELETE FROM \"Counters\"";
inline constexpr auto AddMeter = "INSERT INTO \"Counters\" (global_id, \"UIN\", \"Number\", \"Model\", \"Type\", "
                                 "\"KI_Number\") VALUES (%1, %2, %3, %4, %5, %6)";

/// `statement` with its places filled, all in one pass: a "%1" inside a value is not replaced.
[[nodiscard]] QByteArray Filled(const char* statement, const QList<QByteArray>& values);

[[nodiscard]] QByteArray Literal(const QUuid& source);
/// Of a table of SourceTables, its name at the centre.
[[nodiscard]] QByteArray Kind(std::size_t table);

} // namespace CentreStatements
