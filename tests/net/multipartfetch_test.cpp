#include "net/multipartfetch.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "support/fakecamera.h"

using watchpost::test::FakeCamera;

namespace {

const std::string kHead =
    "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=abc\r\n\r\n--abc\r\n";

std::string Part(const std::string& body) {
  return "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body + "\r\n--abc\r\n";
}

MultipartFetch Open(const FakeCamera& camera) {
  return {"127.0.0.1", camera.Port(), "s", nullptr, nullptr};
}

// Fetches parts until one fails; what it failed with goes to `status`.
std::vector<std::string> FetchAll(MultipartFetch& fetch, int& status) {
  std::vector<std::string> parts;
  std::vector<unsigned char> buffer(300000);
  while (parts.size() < 100) {
    unsigned int length = 0;
    std::array<char, 64> type{};
    status = fetch.NextPartInfo(length, type.data(), type.size());
    if (status != MF_OK) return parts;
    EXPECT_STREQ(type.data(), "image/jpeg");
    status = fetch.FetchContent(buffer.data(), static_cast<unsigned int>(buffer.size()));
    if (status != MF_OK) return parts;
    parts.emplace_back(buffer.begin(), buffer.begin() + length);
  }
  return parts;
}

struct Stream {
  const char* what;
  std::string reply;
  std::vector<std::string> parts;
  int status;  // that ends it
};

TEST(Multipart, ReadsEveryDialect) {
  const std::string type = "Content-Type: image/jpeg\r\n";
  const std::string tricky = "\r\n--ab--abd\r\r\n-";  // all but the boundary
  const Stream streams[] = {
      {"length after type",
       kHead + Part("one") + Part(tricky) + Part(""),
       {"one", tricky, ""},
       MF_ERR_PART_TYPE},
      {"length before type",
       kHead + "X: y\r\nContent-Length: 3\r\n\r\n" + type + "\r\none\r\n--abc\r\n",
       {"one"},
       MF_ERR_PART_TYPE},
      {"no length, CR LF",
       kHead + type + "\r\n" + tricky + "\r\n--abc\r\n" + type + "\r\ntwo\r\n--abc--\r\n",
       {tricky, "two"},
       MF_ERR_PART_TYPE},
      {"no length, LF",
       "HTTP/1.0 200 OK\nContent-Type: "
       "multipart/x-mixed-replace;boundary=abc\n\n--abc\nContent-Type: image/jpeg\n\none\n--abc\n",
       {"one"},
       MF_ERR_PART_TYPE},
      {"no length, no body",
       kHead + type + "\r\n--abc\r\n" + type + "\r\n\n--abc",
       {"", ""},
       MF_ERR_PART_TYPE},
      {"hyphens before the announced boundary",
       "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; "
       "boundary=--abc\r\n\r\n--abc\r\n" +
           Part("one"),
       {"one"},
       MF_ERR_PART_TYPE},
      {"a hyphen cuts it",
       "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace; "
       "boundary=abc-def\r\n\r\n--abc-def\r\n" +
           Part("one"),
       {"one"},
       MF_ERR_PART_TYPE},
      {"text before the first boundary",
       "HTTP/1.0 200 OK\r\nContent-Type: "
       "multipart/x-mixed-replace;boundary=abc\r\n\r\nhello\r\n\r\n--abc\r\n" +
           Part("one"),
       {"one"},
       MF_ERR_PART_TYPE},
      {"a line between type and length",
       kHead + Part("one") + type + "X-Timestamp: 1\r\nContent-Length: 3\r\n\r\n",
       {"one"},
       MF_ERR_PART_LENGTH},
      {"no type", kHead + "Content-Length: 3\r\n" + std::string(100, '\n'), {}, MF_ERR_PART_TYPE},
      {"a type without a value", kHead + "Content-Type\r\n", {}, MF_ERR_PART_TYPE},
      {"a negative length", kHead + type + "Content-Length: -1\r\n\r\n", {}, MF_ERR_PART_LENGTH},
      {"a length past all bounds",
       kHead + type + "Content-Length: 99999999999999999999\r\n\r\nx",
       {},
       MF_ERR_BUFFER_SMALL},
      {"a body cut short", kHead + type + "Content-Length: 30\r\n\r\nshort", {}, MF_ERR_CONNECT},
      {"no boundary behind a body",
       kHead + type + "Content-Length: 3\r\n\r\none" + std::string(16, '\n'),
       {},
       MF_ERR_BOUNDARY},
      {"a body without length that never ends",
       kHead + type + "\r\n" + std::string(262200, 'x'),
       {},
       MF_ERR_BOUNDARY},
      {"a body without length cut short", kHead + type + "\r\nxxxxxxx", {}, MF_ERR_CONNECT},
      {"something other than a line end behind the length",
       kHead + type + "Content-Length: 3\r\nxy",
       {},
       MF_ERR_PART_LENGTH},
  };
  for (const Stream& stream : streams) {
    FakeCamera camera({stream.reply});
    MultipartFetch fetch = Open(camera);
    int status = -1;
    EXPECT_EQ(FetchAll(fetch, status), stream.parts) << stream.what;
    EXPECT_EQ(status, stream.status) << stream.what;
  }
}

TEST(Multipart, SaysWhyItCannotConnect) {
  const std::string ok = "HTTP/1.0 200 OK\r\nContent-Type: ";
  const struct {
    std::string reply;
    MF_STATUS status;
  } cases[] = {
      {ok + "multipart/mixed; boundary=abc\r\n", MF_ERR_NOT_MULTIPART},
      {ok + "image/jpeg\r\n", MF_ERR_NOT_MULTIPART},
      {ok + "multipart/x-mixed-replace\r\n", MF_ERR_NOT_MULTIPART},
      {ok + "multipart/x-mixed-replace; boundary=--\r\n", MF_ERR_NOT_MULTIPART},
      {ok + "multipart/x-mixed-replace; boundary=ABC\r\n\r\n--ABC\r\n" + std::string(20, '\n'),
       MF_ERR_BOUNDARY},
      {ok + "multipart/x-mixed-replace; boundary=\"abc\"\r\n\r\n--abc\r\n", MF_ERR_BOUNDARY},
      {"HTTP/1.0 200 OK\r\nServer: x\r\n\r\n", MF_ERR_HTTP},
      {"HTTP/1.0 401 Unauthorized\r\n\r\n", MF_ERR_UNAUTHORIZED},
      {"HTTP/1.0 503 Busy\r\n\r\n", MF_ERR_BAD_RESPONSE},
      {"", MF_ERR_CONNECT},
  };
  for (const auto& c : cases) {
    FakeCamera camera({c.reply});
    MultipartFetch fetch = Open(camera);
    EXPECT_EQ(fetch.TestConnect(), c.status) << c.reply;
  }
  MultipartFetch unset(nullptr, 80, "", "", "");
  unsigned int length = 0;
  char type[8];
  EXPECT_EQ(unset.TestConnect(), MF_ERR_NOT_INIT);
  EXPECT_EQ(unset.NextPartInfo(length, type, sizeof type), MF_ERR_NOT_INIT);
  EXPECT_EQ(MultipartFetch("127.0.0.1", -1, "", "", "").TestConnect(), MF_ERR_NOT_INIT);
  MultipartFetch fetch("127.0.0.1", 1, "", "", "");
  EXPECT_EQ(fetch.NextPartInfo(length, nullptr, 8), MF_ERR_PARAM);
  EXPECT_EQ(fetch.FetchContent(nullptr, 8), MF_ERR_PARAM);
  EXPECT_EQ(fetch.TestConnect(), MF_ERR_CONNECT);
  EXPECT_EQ(fetch.GetContentType(nullptr, 8), -1);
}

TEST(Multipart, ReconnectsAfterEveryFailure) {
  FakeCamera camera({"", "HTTP/1.0 500 X\r\n", kHead + Part("one"), kHead + Part("two")});
  MultipartFetch fetch = Open(camera);
  int status = -1;
  EXPECT_TRUE(FetchAll(fetch, status).empty());
  EXPECT_EQ(status, MF_ERR_CONNECT);
  EXPECT_TRUE(FetchAll(fetch, status).empty());
  EXPECT_EQ(status, MF_ERR_BAD_RESPONSE);
  EXPECT_EQ(FetchAll(fetch, status), std::vector<std::string>{"one"});
  EXPECT_EQ(FetchAll(fetch, status), std::vector<std::string>{"two"});
}

TEST(Multipart, KeepsAPartThatDoesNotFitAndSkipsItOnRequest) {
  const std::string large(600000, 'l');  // longer than the reader's own buffer
  FakeCamera camera({kHead + Part(large) + Part("two")});
  MultipartFetch fetch = Open(camera);
  unsigned int length = 0;
  std::array<char, 6> type;
  ASSERT_EQ(fetch.NextPartInfo(length, type.data(), type.size()), MF_OK);
  EXPECT_STREQ(type.data(), "image") << "cut to fit";
  EXPECT_EQ(length, large.size());
  std::array<unsigned char, 16> buffer{};
  EXPECT_EQ(fetch.FetchContent(buffer.data(), buffer.size()), MF_ERR_BUFFER_SMALL);
  fetch.DropData();
  int status = -1;
  EXPECT_EQ(FetchAll(fetch, status), std::vector<std::string>{"two"}) << "on the same connection";
  camera.Finish();
  EXPECT_EQ(camera.Requests().size(), 1U);
}

TEST(Multipart, HoldsNothingOfAPartWhoseHeaderFailed) {
  const std::string large(1000000, 'l');
  FakeCamera camera({kHead + Part(large)});
  MultipartFetch fetch = Open(camera);
  std::vector<unsigned char> buffer(2 * large.size(), 'u');
  unsigned int length = 0;
  char type[16];
  ASSERT_EQ(fetch.NextPartInfo(length, type, sizeof type), MF_OK);
  ASSERT_EQ(fetch.FetchContent(buffer.data(), static_cast<unsigned int>(buffer.size())), MF_OK);
  ASSERT_EQ(fetch.NextPartInfo(length, type, sizeof type), MF_ERR_PART_TYPE);
  buffer.assign(buffer.size(), 'u');
  EXPECT_EQ(fetch.FetchContent(buffer.data(), static_cast<unsigned int>(buffer.size())), MF_OK);
  EXPECT_EQ(buffer[0], 'u') << "and no byte of another buffer";
}

TEST(Multipart, SkipsALengthThatLiesWithoutHanging) {
  FakeCamera camera({kHead + "Content-Type: t\r\nContent-Length: 2147483647\r\n\r\nshort"});
  MultipartFetch fetch = Open(camera);
  unsigned int length = 0;
  char type[8];
  ASSERT_EQ(fetch.NextPartInfo(length, type, sizeof type), MF_OK);
  EXPECT_EQ(length, 2147483647U);
  fetch.DropData();
  fetch.DropData();
}

TEST(Multipart, TakesSnapshots) {
  FakeCamera camera({kHead + Part("picture")});
  std::array<unsigned char, 8> buffer{};
  int size = 6;
  EXPECT_EQ(GetSnapshotFromCamera("127.0.0.1", camera.Port(), "", "", "s", buffer.data(), &size),
            -1);
  EXPECT_EQ(size, 7) << "the room it takes";
  EXPECT_EQ(GetSnapshotFromCamera("127.0.0.1", camera.Port(), "", "", "s", buffer.data(), &size),
            0);
  EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + size), "picture");
  size = -1;
  EXPECT_EQ(GetSnapshotFromCamera("127.0.0.1", camera.Port(), "", "", "s", buffer.data(), &size),
            -1);
  EXPECT_EQ(GetSnapshotFromCamera("127.0.0.1", camera.Port(), "", "", "s", nullptr, &size), -1);
  EXPECT_EQ(GetSnapshotFromCamera("127.0.0.1", camera.Port(), "", "", "s", buffer.data(), nullptr),
            -1);
  EXPECT_EQ(GetSnapshotFromCamera("127.0.0.1", 1, "", "", "s", buffer.data(), &size), -1);
}

}  // namespace
