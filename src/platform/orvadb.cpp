#include "platform/orvadb.h"

#include <libpq-fe.h>
#include <poll.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <new>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kConnectTimeout = "10";  // seconds
constexpr std::chrono::seconds kStatementTimeout{30};
// The server gives up somewhat before the client does, so that a slow statement ends there too.
constexpr const char* kSessionOptions =
    "-c standard_conforming_strings=on -c statement_timeout=25000 -c client_min_messages=error";

struct ResultDeleter {
  void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using ResultPtr = std::unique_ptr<PGresult, ResultDeleter>;

// libpq prints the server's notices to standard error otherwise, where they would mix with a
// program's own.
void DropNotice(void* /*arg*/, const PGresult* /*notice*/) {}

// Waits until the server has sent something; false when the time is up or the socket is broken.
bool WaitForServer(pg_conn* conn, Clock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    pollfd server{PQsocket(conn), POLLIN, 0};
    const int ready = poll(&server, 1, static_cast<int>(left));
    if (ready > 0) return true;
    if (ready == 0 || errno != EINTR) return false;
  }
}

bool IsCopy(ExecStatusType status) {
  return status == PGRES_COPY_IN || status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH;
}

// The last result of the statement just sent, as PQexec would give it, but never later than the
// deadline.
ResultPtr CollectResult(pg_conn* conn, Clock::time_point deadline) {
  ResultPtr last;
  for (;;) {
    while (PQisBusy(conn) != 0) {
      if (!WaitForServer(conn, deadline) || PQconsumeInput(conn) == 0) return nullptr;
    }
    ResultPtr next(PQgetResult(conn));
    if (next == nullptr) return last;
    last = std::move(next);
    if (IsCopy(PQresultStatus(last.get()))) return last;
  }
}

}  // namespace

struct __tag_DBResult {
  ResultPtr rows;
};

pg_conn* ORVADBConnect(const char* host,
                       const char* user,
                       const char* password,
                       const char* database) noexcept {
  // Encryption of a connection to this very host would only cost two more round trips, and its
  // address needs no look-up (nor may PGHOSTADDR name another one).
  const bool local = host != nullptr && std::strcmp(host, "localhost") == 0;
  const std::array keywords{"host",
                            "user",
                            "password",
                            "dbname",
                            "connect_timeout",
                            "client_encoding",
                            "options",
                            "sslmode",
                            "gssencmode",
                            "hostaddr",
                            static_cast<const char*>(nullptr)};
  const std::array values{host,
                          user,
                          password,
                          database,
                          kConnectTimeout,
                          "SQL_ASCII",
                          kSessionOptions,
                          "disable",
                          "disable",
                          local ? "127.0.0.1" : nullptr,
                          static_cast<const char*>(nullptr)};
  static_assert(keywords.size() == values.size());
  pg_conn* conn = PQconnectdbParams(keywords.data(), values.data(), 0);
  if (PQstatus(conn) != CONNECTION_OK) {
    PQfinish(conn);
    return nullptr;
  }
  PQsetNoticeReceiver(conn, DropNotice, nullptr);
  return conn;
}

void ORVADBClose(pg_conn* conn) noexcept {
  PQfinish(conn);
}

int ORVADBExecute(pg_conn* conn, const char* sql, DBResult** result) noexcept {
  if (result != nullptr) *result = nullptr;
  if (conn == nullptr || sql == nullptr || PQsendQuery(conn, sql) == 0) return -1;
  ResultPtr rows = CollectResult(conn, Clock::now() + kStatementTimeout);
  const ExecStatusType status = PQresultStatus(rows.get());
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) return -1;
  if (result == nullptr) return 0;
  *result = new (std::nothrow) DBResult{std::move(rows)};
  return *result == nullptr ? -1 : 0;
}

int ORVADBNumRows(DBResult* result) noexcept {
  return result == nullptr ? 0 : PQntuples(result->rows.get());
}

int ORVADBFetchRow(DBResult* result, unsigned int* row) noexcept {
  if (result == nullptr || row == nullptr) return -1;
  const unsigned int next = *row + 1;
  if (next >= static_cast<unsigned int>(ORVADBNumRows(result))) return -1;
  *row = next;
  return 0;
}

char* ORVADBFetchField(DBResult* result, unsigned int row, const char* column) noexcept {
  if (result == nullptr || column == nullptr) return nullptr;
  if (row >= static_cast<unsigned int>(ORVADBNumRows(result))) return nullptr;
  const int number = PQfnumber(result->rows.get(), column);
  if (number < 0) return nullptr;
  return PQgetvalue(result->rows.get(), static_cast<int>(row), number);
}

void ORVADBFreeResult(DBResult* result) noexcept {
  delete result;
}

void ORVADBEscapeString(char* destination, const char* source, unsigned int length) noexcept {
  for (unsigned int i = 0; i < length && source[i] != '\0'; ++i) {
    if (source[i] == '\'') *destination++ = '\'';
    *destination++ = source[i];
  }
  *destination = '\0';
}
