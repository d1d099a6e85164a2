#include "ipc/progressindicator.h"

#include <sys/stat.h>
#include <unistd.h>

#include "support/ipcnamespace.h"
#include "support/syslogcapture.h"

namespace {

// Files in /tmp are everybody's: an identifier that no other process has, above 32 bits.
class ProgressTest : public IpcTest {
 protected:
  const long long id_ = (1LL << 40) + getpid();
  const std::string key_file_ = "/tmp/progress-" + std::to_string(id_);
};

}  // namespace

TEST_F(ProgressTest, IsSharedAndGoesWithItsWriter) {
  ProgressIndicator reader(id_, false);
  auto writer = std::make_unique<ProgressIndicator>(id_, true);
  const SyslogCapture log;
  EXPECT_EQ(reader.Get(), -1);
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(writer->Set(42), 0);
  EXPECT_EQ(reader.Get(), 42);
  EXPECT_EQ(writer->Set(100), 0);
  EXPECT_EQ(reader.Get(), 100);
  EXPECT_EQ(access(key_file_.c_str(), F_OK), 0);
  writer.reset();
  EXPECT_NE(access(key_file_.c_str(), F_OK), 0);
  EXPECT_EQ(ProgressIndicator(id_, false).Get(), -1);
  EXPECT_EQ(log.Text(), "");
}

TEST_F(ProgressTest, RefusesReadersAndLinks) {
  const SyslogCapture log;
  ProgressIndicator reader(id_, false);
  EXPECT_EQ(reader.Set(1), -1);
  log.Expect("Set(): Not initiated for write");
  const TempDir dir;
  WriteFile(dir / "victim", "precious");
  ASSERT_EQ(symlink((dir / "victim").c_str(), key_file_.c_str()), 0);
  ProgressIndicator writer(id_, true);
  EXPECT_EQ(writer.Set(1), -1);
  EXPECT_THAT(log.Text(), HasSubstr("Failed to create temp file " + key_file_));
  EXPECT_EQ(ReadFile(dir / "victim"), "precious");
  EXPECT_EQ(unlink(key_file_.c_str()), 0);
}
