// Finding recordings among a million of 16 cameras, beside libpq connecting, executing the same
// statement and closing. The database must hold them: scripts/bench fills it.

#include <benchmark/benchmark.h>
#include <libpq-fe.h>
#include <watchpost/database/wpdb.h>
#include <watchpost/event/eventutils.h>

#include <cstdio>
#include <string>

#include "ratios.h"

namespace {

// A day in the middle of what scripts/bench fills in: 16 cameras, a recording a minute each.
constexpr int kCamera = 7;
constexpr int kFrom = 1700000000 + 20 * 86400;
constexpr int kUntil = kFrom + 86400;
constexpr int kPage = 20;

std::string PageStatement(int offset) {
  return "SELECT * FROM event WHERE camera_id = 7 AND start_time >= " + std::to_string(kFrom) +
         " AND stop_time <= " + std::to_string(kUntil) + " ORDER by start_time DESC  OFFSET " +
         std::to_string(offset) + " LIMIT 20";
}

void Bare(benchmark::State& state, const std::string& sql) {
  const char* keywords[] = {"host", "user", "password", "dbname", nullptr};
  const char* values[] = {gszDBHost, gszDBUser, gszDBPass, gszDBName, nullptr};
  for ([[maybe_unused]] const auto _ : state) {
    PGconn* conn = PQconnectdbParams(keywords, values, 0);
    PGresult* result = PQexec(conn, sql.c_str());
    if (PQresultStatus(result) != PGRES_TUPLES_OK || PQntuples(result) == 0)
      state.SkipWithError(PQerrorMessage(conn));
    PQclear(result);
    PQfinish(conn);
  }
}

void RegisterPage(const std::string& name, int offset) {
  benchmark::RegisterBenchmark((name + "/ours").c_str(), [offset](benchmark::State& state) {
    for ([[maybe_unused]] const auto _ : state) {
      const auto events = GetEvents(offset, kPage, kCamera, kFrom, kUntil, EVENT_CAUSE_ANY);
      if (events.size() != kPage) state.SkipWithError("not a whole page");
    }
  })->UseRealTime();
  benchmark::RegisterBenchmark((name + "/bare").c_str(), Bare, PageStatement(offset))
      ->UseRealTime();
}

void RegisterCount(const std::string& name, int camera, int from, int until, EVENT_CAUSE cause) {
  const std::string sql =
      "SELECT count(*) FROM event" + BuildEventFilter(camera, from, until, cause);
  benchmark::RegisterBenchmark((name + "/ours").c_str(), [=](benchmark::State& state) {
    for ([[maybe_unused]] const auto _ : state) {
      if (GetEventCount(camera, from, until, cause) == 0) state.SkipWithError("none found");
    }
  })->UseRealTime();
  benchmark::RegisterBenchmark((name + "/bare").c_str(), Bare, sql)->UseRealTime();
  // The plan, as the server reports it.
  DBResult* result = nullptr;
  if (WPDBExecute("EXPLAIN " + sql, &result) != 0) return;
  std::string plan;
  for (auto row = static_cast<unsigned int>(-1); ORVADBFetchRow(result, &row) == 0;) {
    const std::string line = ORVADBFetchField(result, row, "\"QUERY PLAN\"");
    if (line.find("Scan") != std::string::npos) plan = line.substr(0, line.find("  (cost"));
  }
  ORVADBFreeResult(result);
  std::printf("%-28s %s\n", name.c_str(), plan.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  RegisterPage("first page of a day", 0);
  RegisterPage("last page of a day", 1420);
  RegisterCount("count all", 0, 0, 0, EVENT_CAUSE_ANY);
  RegisterCount("count of a camera", kCamera, 0, 0, EVENT_CAUSE_ANY);
  RegisterCount("count of a day", 0, kFrom, kUntil, EVENT_CAUSE_ANY);
  RegisterCount("count of a cause", 0, 0, 0, EVENT_CAUSE_MOTION);
  RegisterCount("count of camera and day", kCamera, kFrom, kUntil, EVENT_CAUSE_ANY);
  RegisterCount("count with all filters", kCamera, kFrom, kUntil, EVENT_CAUSE_MOTION);
  return bench::RunRatios(argc, argv);
}
