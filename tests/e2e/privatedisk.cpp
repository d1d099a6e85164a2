#include "e2e/privatedisk.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include "support/process.h"

namespace watchpost::test {

PrivateDisk::PrivateDisk(std::string where, const std::string& size) : where_(std::move(where)) {
  EXPECT_EQ(unshare(CLONE_NEWNS), 0);
  EXPECT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
  fs::create_directories(where_);
  const std::string options = "size=" + size;
  EXPECT_EQ(mount("watchpost-test", store_.Path().c_str(), "tmpfs", 0, options.c_str()), 0);
  Mount();
}

PrivateDisk::~PrivateDisk() {
  Unmount();
  EXPECT_EQ(umount2(store_.Path().c_str(), MNT_DETACH), 0);
}

void PrivateDisk::Unmount() {
  EXPECT_EQ(umount2(where_.c_str(), MNT_DETACH), 0);
}

void PrivateDisk::Mount() {
  EXPECT_EQ(mount(store_.Path().c_str(), where_.c_str(), nullptr, MS_BIND, nullptr), 0);
}

void PrivateDisk::Fill() {
  const UniqueFd file(open((store_ / "filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const auto all = [&] {
    struct statvfs status {};
    EXPECT_EQ(statvfs(store_.Path().c_str(), &status), 0);
    const auto bytes = static_cast<off_t>(status.f_bavail * status.f_bsize);
    return bytes == 0 || posix_fallocate(file.Get(), 0, bytes) == 0;
  };
  EXPECT_TRUE(Eventually(all)) << "others write meanwhile";
}

void PrivateDisk::Free() {
  EXPECT_TRUE(fs::remove(store_ / "filler"));
}

double PrivateDisk::FreeShare() const {
  struct statvfs status {};
  EXPECT_EQ(statvfs(store_.Path().c_str(), &status), 0);
  return static_cast<double>(status.f_bavail) / static_cast<double>(status.f_blocks);
}

}  // namespace watchpost::test
