// Any bytes as a key-value file, and as a list of cameras.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/uniquefd.h"
#include "camera/cameracfg.h"
#include "platform/olibfile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const watchpost::UniqueFd file(memfd_create("fuzz", MFD_CLOEXEC));
  if (write(file.Get(), data, size) != static_cast<ssize_t>(size)) return 0;
  const std::string path = "/proc/self/fd/" + std::to_string(file.Get());
  watchpost::OlibHashPtr values(PshOLIBSzHashAlloc(8));
  OLIBSZHASH* hash = values.get();
  (void)OLIBFileGetSection(path.c_str(), "wpd", &hash);
  char value[32];
  (void)OLIBFileGetKeyValue(path.c_str(), "maillang", value, sizeof value, 0);
  CAMERA_CFG cameras;
  (void)cameras.CCFGLoad(path.c_str());
  return 0;
}
