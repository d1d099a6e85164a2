// An administrator's connection to the database server, as libpq's environment describes it, and
// what the database says of its version.
#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>

namespace wpctl {

class Administrator {
 public:
  /// Null for the database that the environment names.
  explicit Administrator(const char* database);

  [[nodiscard]] bool IsConnected() const { return PQstatus(conn_.get()) == CONNECTION_OK; }

  /// The server's last message, as one line.
  [[nodiscard]] std::string Error() const;

  bool Run(const std::string& sql);

  /// Runs a statement and keeps the first value of its first row; "" without one.
  bool Ask(const std::string& sql, std::string& value);

 private:
  struct ConnectionDeleter {
    void operator()(PGconn* conn) const noexcept { PQfinish(conn); }
  };
  std::unique_ptr<PGconn, ConnectionDeleter> conn_;
};

/// What to say of a connection that was refused.
std::string NoConnection(const Administrator& server);

/// Reads the schema version that the database's comment names; 0 when it names none. False when the
/// database did not answer.
bool ReadSchemaVersion(Administrator& database, int& version);

/// Runs `sql` as the owner of the tables, and notes `version` in the database's comment: both or
/// nothing.
bool RunSchemaStep(Administrator& database, const std::string& sql, int version);

}  // namespace wpctl
