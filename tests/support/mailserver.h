// A real mail server with a mail parser behind it: see the program of that name.
#pragma once

#include <nlohmann/json.hpp>

#include "support/process.h"

namespace watchpost::test {

class MailServer {
 public:
  explicit MailServer(const std::string& options = "")
      : process_(WATCHPOST_SOURCE_DIR "/tests/support/mailserver " + (dir_ / "mails ") + options) {
    EXPECT_TRUE(Eventually([this] { return process_.Output().ends_with('\n'); }))
        << process_.Errors();
    port_ = process_.Output();
    port_.pop_back();
  }

  [[nodiscard]] const std::string& Port() const { return port_; }

  /// The mails taken so far, after waiting for `count` of them.
  [[nodiscard]] std::vector<nlohmann::json> Mails(std::size_t count) const {
    std::vector<nlohmann::json> mails;
    const auto arrived = [&] {
      mails.clear();
      std::istringstream lines(ReadFile(dir_ / "mails"));
      for (std::string line; std::getline(lines, line);) {
        if (lines.eof()) return false;  // it is just writing
        mails.push_back(nlohmann::json::parse(line));
      }
      return mails.size() >= count;
    };
    EXPECT_TRUE(Eventually(arrived)) << mails.size() << " mails" << process_.Errors();
    return mails;
  }

  /// A certificate with its key for this machine, in one file of `dir`.
  static std::string MakeCertificate(const TempDir& dir) {
    const Result made = RunProgram(
        "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost "
        "-addext subjectAltName=IP:127.0.0.1 -keyout " +
        (dir / "key.pem") + " -out " + (dir / "certificate.pem"));
    EXPECT_EQ(made.status, 0) << made.errors;
    WriteFile(dir / "both.pem", ReadFile(dir / "key.pem") + ReadFile(dir / "certificate.pem"));
    return dir / "both.pem";
  }

 private:
  TempDir dir_;
  Process process_;
  std::string port_;
};

}  // namespace watchpost::test
