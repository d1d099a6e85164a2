#include "net/multipartfetch.h"

#include "support/fakecamera.h"

namespace {

using namespace std::string_literals;

const std::string kOk = "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;";
const std::string kHead = kOk + "boundary=abc\r\n\r\n--abc\r\n";

std::string Part(const std::string& body) {
  return "Content-Type: image/jpeg\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body + "\r\n--abc\r\n";
}

MultipartFetch Open(const FakeCamera& camera) {
  return {"127.0.0.1", camera.Port(), "s", nullptr, nullptr};
}

// Fetches parts until one fails, with `status`.
void ExpectParts(MultipartFetch& fetch, const std::vector<std::string>& expected, int status) {
  std::vector<std::string> parts;
  std::vector<unsigned char> buffer(300000);
  std::array<char, 64> type{};
  unsigned int length = 0;
  int result = MF_OK;
  while (parts.size() < 100) {
    result = fetch.NextPartInfo(length, type.data(), type.size());
    if (result != MF_OK) break;
    EXPECT_STREQ(type.data(), "image/jpeg");
    result = fetch.FetchContent(buffer.data(), static_cast<unsigned int>(buffer.size()));
    if (result != MF_OK) break;
    parts.emplace_back(buffer.begin(), buffer.begin() + length);
  }
  EXPECT_EQ(parts, expected);
  EXPECT_EQ(result, status);
}

TEST(Multipart, ReadsEveryDialect) {
  const std::string type = "Content-Type: image/jpeg\r\n";
  const std::string tricky = "\r\n--ab--abd\r\r\n-";  // all but the boundary
  const struct {
    std::string reply;
    std::vector<std::string> parts;
    int status = MF_ERR_PART_TYPE;  // that ends it
  } streams[] = {
      // length after type, and before it
      {kHead + Part("one") + Part(tricky) + Part(""), {"one", tricky, ""}},
      {kHead + "X: y\r\nContent-Length: 3\r\n\r\n" + type + "\r\none\r\n--abc\r\n", {"one"}},
      // no length: lines that end with CR LF, with LF, and no body
      {kHead + type + "\r\n" + tricky + "\r\n--abc\r\n" + type + "\r\ntwo\r\n--abc--\r\n",
       {tricky, "two"}},
      {"HTTP/1.0 200 OK\nContent-Type: multipart/x-mixed-replace;boundary=abc\n\n--abc\n"
       "Content-Type: image/jpeg\n\none\n--abc\n",
       {"one"}},
      {kHead + type + "\r\n--abc\r\n" + type + "\r\n\n--abc", {"", ""}},
      // hyphens before the announced boundary; one within cuts it; text before the first
      {kOk + " boundary=--abc\r\n\r\n--abc\r\n" + Part("one"), {"one"}},
      {kOk + " boundary=abc-def\r\n\r\n--abc-def\r\n" + Part("one"), {"one"}},
      {kOk + "boundary=abc\r\n\r\nhello\r\n\r\n--abc\r\n" + Part("one"), {"one"}},
      // a line between type and length
      {kHead + Part("one") + type + "X-Timestamp: 1\r\nContent-Length: 3\r\n\r\n",
       {"one"},
       MF_ERR_PART_LENGTH},
      // types and lengths that make no sense
      {kHead + "Content-Length: 3\r\n" + std::string(100, '\n'), {}, MF_ERR_PART_TYPE},
      {kHead + "Content-Type\r\n", {}, MF_ERR_PART_TYPE},
      {kHead + type + "Content-Length: -1\r\n\r\n", {}, MF_ERR_PART_LENGTH},
      {kHead + type + "Content-Length: 99999999999999999999\r\n\r\nx", {}, MF_ERR_BUFFER_SMALL},
      {kHead + type + "Content-Length: 3\r\nxy", {}, MF_ERR_PART_LENGTH},
      // a body cut short; no boundary behind it; without a length and without an end
      {kHead + type + "Content-Length: 30\r\n\r\nshort", {}, MF_ERR_CONNECT},
      {kHead + type + "\r\nxxxxxxx", {}, MF_ERR_CONNECT},
      {kHead + type + "Content-Length: 3\r\n\r\none" + std::string(16, '\n'), {}, MF_ERR_BOUNDARY},
      {kHead + type + "\r\n" + std::string(262200, 'x'), {}, MF_ERR_BOUNDARY},
  };
  for (const auto& stream : streams) {
    SCOPED_TRACE(stream.reply.substr(0, 200));
    FakeCamera camera({stream.reply});
    MultipartFetch fetch = Open(camera);
    ExpectParts(fetch, stream.parts, stream.status);
  }
}

TEST(Multipart, FindsTheBoundaryWhereverReadsCutIt) {
  std::string reply = kHead;
  std::vector<std::string> bodies;
  for (std::size_t i = 0; i < 60; ++i) {  // about as long as what is read at once
    std::string& body = bodies.emplace_back(65500 + i, '-');
    for (std::size_t at = 3; at + 4 < body.size(); at += 7) body.replace(at, 4, "--ab");
    reply += "Content-Type: image/jpeg\r\n\r\n" + body + "\r\n--abc\r\n";
  }
  FakeCamera camera({reply});
  MultipartFetch fetch = Open(camera);
  ExpectParts(fetch, bodies, MF_ERR_PART_TYPE);
}

TEST(Multipart, SaysWhyItCannotConnect) {
  const std::string lines(20, '\n');
  for (const auto& [reply, status] :
       {std::pair{"HTTP/1.0 200 OK\r\nContent-Type: multipart/mixed; boundary=abc\r\n"s,
                  MF_ERR_NOT_MULTIPART},
        {"HTTP/1.0 200 OK\r\nContent-Type: image/jpeg\r\n", MF_ERR_NOT_MULTIPART},
        {kOk + "\r\n", MF_ERR_NOT_MULTIPART},
        {kOk + " boundary=--\r\n", MF_ERR_NOT_MULTIPART},
        {kOk + " boundary=ABC\r\n\r\n--ABC\r\n" + lines, MF_ERR_BOUNDARY},
        {kOk + " boundary=\"abc\"\r\n\r\n--abc\r\n", MF_ERR_BOUNDARY},
        {"HTTP/1.0 200 OK\r\nServer: x\r\n\r\n", MF_ERR_HTTP},
        {"HTTP/1.0 401 Unauthorized\r\n\r\n", MF_ERR_UNAUTHORIZED},
        {"HTTP/1.0 503 Busy\r\n\r\n", MF_ERR_BAD_RESPONSE},
        {"", MF_ERR_CONNECT}}) {
    FakeCamera camera({reply});
    EXPECT_EQ(Open(camera).TestConnect(), status) << reply;
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
  ExpectParts(fetch, {}, MF_ERR_CONNECT);
  ExpectParts(fetch, {}, MF_ERR_BAD_RESPONSE);
  ExpectParts(fetch, {"one"}, MF_ERR_PART_TYPE);
  ExpectParts(fetch, {"two"}, MF_ERR_PART_TYPE);
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
  ExpectParts(fetch, {"two"}, MF_ERR_PART_TYPE);
  camera.Finish();
  EXPECT_EQ(camera.Requests().size(), 1U) << "on the same connection";
}

TEST(Multipart, HoldsNothingOfAPartWhoseHeaderFailed) {
  FakeCamera camera({kHead + Part(std::string(1000000, 'l'))});
  MultipartFetch fetch = Open(camera);
  std::vector<unsigned char> buffer(2000000, 'u');
  unsigned int length = 0;
  char type[16];
  ASSERT_EQ(fetch.NextPartInfo(length, type, sizeof type), MF_OK);
  ASSERT_EQ(fetch.FetchContent(buffer.data(), 2000000), MF_OK);
  ASSERT_EQ(fetch.NextPartInfo(length, type, sizeof type), MF_ERR_PART_TYPE);
  buffer.assign(buffer.size(), 'u');
  EXPECT_EQ(fetch.FetchContent(buffer.data(), 2000000), MF_OK);
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
  const auto snapshot = [](int port, unsigned char* data, int* room) {
    return GetSnapshotFromCamera("127.0.0.1", port, "", "", "s", data, room);
  };
  EXPECT_EQ(snapshot(camera.Port(), buffer.data(), &size), -1);
  EXPECT_EQ(size, 7) << "the room it takes";
  EXPECT_EQ(snapshot(camera.Port(), buffer.data(), &size), 0);
  EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + size), "picture");
  EXPECT_EQ(snapshot(1, buffer.data(), &size), -1);
  EXPECT_EQ(snapshot(camera.Port(), nullptr, &size), -1);
  EXPECT_EQ(snapshot(camera.Port(), buffer.data(), nullptr), -1);
  size = -1;
  EXPECT_EQ(snapshot(camera.Port(), buffer.data(), &size), -1);
}

}  // namespace
