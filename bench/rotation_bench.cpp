// Removing recordings by rotation, beside unlink() of the same files and the same statements
// through libpq in the same batches; and how long a caller waits for SendMail. Needs a database of
// its own.

#include <arpa/inet.h>
#include <fcntl.h>
#include <libpq-fe.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <watchpost/camera/camera.h>
#include <watchpost/database/wpdb.h>
#include <watchpost/event/wprotate.h>
#include <watchpost/notify/notification.h>
#include <watchpost/notify/wpmail.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ratios.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 7;
constexpr int kEvents = 7200;  // a side and round: 100,800 in all
constexpr int kBatch = 1000;
constexpr char kCutoff[] = "2000000000";

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "rotation_bench: %s\n", what);
  std::exit(1);
}

void Touch(const std::string& path) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  Require(fd >= 0, "cannot make files");
  (void)close(fd);
}

// Recordings with motion logs, and their rows.
void Fill(const std::string& folder) {
  Require(
      WPDBExecute("INSERT INTO event (camera_id, start_time, stop_time, path, filesize, archived) "
                  "SELECT 1, 1700000000 + n * 60, 1700000060 + n * 60, n || '.avi', 1000000, false "
                  "FROM generate_series(1, " +
                  std::to_string(kEvents) + ") n") == 0,
      "no rows");
  (void)mkdir((folder + "/@eaDir").c_str(), 0755);
  for (int n = 1; n <= kEvents; ++n) {
    const std::string name = std::to_string(n) + ".avi";
    Touch(folder + "/" + name);
    (void)mkdir((folder + "/@eaDir/" + name).c_str(), 0755);
    Touch(folder + "/@eaDir/" + name + "/ORVAWP:MOTION.log");
  }
}

void RemoveOurs(Camera& camera) {
  WPRotate rotate(&camera);
  int total = 0;
  for (int more = 1; more > 0;) {
    int count = 0;
    more = rotate.RemoveFileByDateWithUpperbound(std::atol(kCutoff), kBatch, count);
    total += count;
  }
  Require(total == kEvents, "not all were removed");
}

PGresult* Run(const std::string& sql, ExecStatusType wanted) {
  const char* keywords[] = {"host", "user", "password", "dbname", nullptr};
  const char* values[] = {gszDBHost, gszDBUser, gszDBPass, gszDBName, nullptr};
  PGconn* conn = PQconnectdbParams(keywords, values, 0);
  PGresult* result = PQexec(conn, sql.c_str());
  Require(PQresultStatus(result) == wanted, PQerrorMessage(conn));
  PQfinish(conn);
  return result;
}

void RemoveBare(const std::string& folder) {
  const std::string filter = std::string(" WHERE camera_id=1 AND stop_time<=");
  for (int rows = kBatch; rows == kBatch;) {
    PGresult* result = Run("SELECT stop_time,path FROM event" + filter + kCutoff +
                               " AND archived=false order by stop_time limit 1000",
                           PGRES_TUPLES_OK);
    rows = PQntuples(result);
    std::string last = "0";
    for (int row = 0; row < rows; ++row) {
      const std::string name = PQgetvalue(result, row, 1);
      const std::string streams = folder + "/@eaDir/" + name;
      (void)unlink((streams + "/ORVAWP:MOTION.log").c_str());
      (void)rmdir(streams.c_str());
      (void)unlink((folder + "/" + name).c_str());
      last = PQgetvalue(result, row, 0);
    }
    PQclear(result);
    PQclear(Run("DELETE FROM event" + filter + last + " AND archived=false", PGRES_COMMAND_OK));
  }
}

double Microseconds(Clock::time_point begin, int count) {
  return std::chrono::duration<double, std::micro>(Clock::now() - begin).count() / count;
}

void CompareRotation() {
  const char* root = std::getenv("BENCH_DIR");
  Require(root != nullptr, "scripts/bench runs this");
  const std::string folder = std::string(root) + "/rotated";
  (void)mkdir(folder.c_str(), 0755);
  Camera camera;
  camera.SetName("Rotated");
  camera.SetStoragePath(folder);
  Require(WPDBExecute("TRUNCATE camera, event RESTART IDENTITY") == 0 && camera.Save(false) == 0,
          "no camera");
  std::vector<double> ratios;
  std::vector<double> ours;
  for (int round = 0; round < kRounds; ++round) {
    Fill(folder);
    Clock::time_point begin = Clock::now();
    RemoveOurs(camera);
    ours.push_back(Microseconds(begin, kEvents));
    Fill(folder);
    begin = Clock::now();
    RemoveBare(folder);
    ratios.push_back(ours.back() / Microseconds(begin, kEvents));
  }
  const bench::Summary ratio = bench::Summarize(ratios);
  const bench::Summary time = bench::Summarize(ours);
  std::printf("removing an event by rotation / unlink and bare SQL: %.2f (%.2f to %.2f), %.1f us\n",
              ratio.median,
              ratio.smallest,
              ratio.largest,
              time.median);
}

// A server that lets everybody wait: connections are made by the kernel and never answered.
int SilentServer(int& port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  Require(bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 && listen(fd, 100) == 0 &&
              getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0,
          "no server");
  port = ntohs(address.sin_port);
  return fd;
}

void MeasureSendMail() {
  int port = 0;
  const int server = SilentServer(port);
  Notification settings(
      NOTIFICATION_SMTP, "127.0.0.1", port, false, "", "", false, false, "a@x.org", "");
  Require(settings.Save() == 0, "no settings");
  Camera camera;
  camera.SetName("Porch");
  std::vector<double> waits;
  std::vector<double> ratios;
  for (int i = 0; i < 50; ++i) {
    Clock::time_point begin = Clock::now();
    Require(WPMailSender().SendMail(WP_MAIL_ADD_CAMERA, &camera, nullptr, nullptr) == 0, "no mail");
    waits.push_back(Microseconds(begin, 1000));
    begin = Clock::now();
    const pid_t child = fork();
    if (child == 0) _exit(0);
    (void)waitpid(child, nullptr, 0);
    ratios.push_back(waits.back() / Microseconds(begin, 1000));
  }
  (void)close(server);  // lets all of them end
  const bench::Summary wait = bench::Summarize(waits);
  std::printf(
      "SendMail, the server never answers: returns after %.2f ms (%.2f to %.2f), %.1f times one "
      "fork and wait\n",
      wait.median,
      wait.smallest,
      wait.largest,
      bench::Summarize(ratios).median);
}

}  // namespace

int main() {
  CompareRotation();
  MeasureSendMail();
}
