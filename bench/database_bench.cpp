// One statement, beside libpq's own connect, execute and close.

#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <watchpost/database/wpdb.h>

#include "ratios.h"

namespace {

constexpr char kStatement[] = "SELECT count(*) FROM event";

void ExecuteStatement(benchmark::State& state) {
  for (auto _ : state) {
    DBResult* result = nullptr;
    if (WPDBExecute(kStatement, &result) != 0)
      return state.SkipWithError("no database; scripts/bench starts one");
    ORVADBFreeResult(result);
  }
}

void ExecuteBarely(benchmark::State& state) {
  const char* keywords[] = {"host", "user", "password", "dbname", nullptr};
  const char* values[] = {gszDBHost, gszDBUser, gszDBPass, gszDBName, nullptr};
  for (auto _ : state) {
    PGconn* conn = PQconnectdbParams(keywords, values, 0);
    PGresult* result = PQexec(conn, kStatement);
    if (PQresultStatus(result) != PGRES_TUPLES_OK) state.SkipWithError("no database");
    PQclear(result);
    PQfinish(conn);
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::RegisterBenchmark("statement/ours", ExecuteStatement)->Iterations(200)->UseRealTime();
  benchmark::RegisterBenchmark("statement/bare", ExecuteBarely)->Iterations(200)->UseRealTime();
  return bench::RunRatios(argc, argv);
}
