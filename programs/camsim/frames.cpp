#include "frames.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace camsim {
namespace {

class FolderSource : public FrameSource {
 public:
  explicit FolderSource(std::vector<Jpeg> pictures) : pictures_(std::move(pictures)) {}

  [[nodiscard]] Jpeg Frame(std::uint64_t number) const override {
    return pictures_[static_cast<std::size_t>(number % pictures_.size())];
  }

 private:
  std::vector<Jpeg> pictures_;
};

bool IsJpegName(const std::filesystem::path& path) {
  std::string ending = path.extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) {
    return std::tolower(c);
  });
  return ending == ".jpg" || ending == ".jpeg";
}

}  // namespace

std::unique_ptr<FrameSource> MakeFolderSource(const std::string& folder, std::string& error) {
  std::vector<std::filesystem::path> paths;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    if (IsJpegName(entry->path())) paths.push_back(entry->path());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<Jpeg> pictures;
  for (const auto& path : paths) {
    std::ifstream file(path, std::ios::binary);
    Jpeg picture{std::istreambuf_iterator<char>(file), {}};
    if (!picture.empty()) pictures.push_back(std::move(picture));
  }
  if (failure || pictures.empty()) {
    error = "no JPEG files in " + folder + (failure ? ": " + failure.message() : "");
    return nullptr;
  }
  return std::make_unique<FolderSource>(std::move(pictures));
}

}  // namespace camsim
