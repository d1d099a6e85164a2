// A real mail server with a mail parser behind it: see the program of that name.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/process.h"

namespace watchpost::test {

class MailServer {
 public:
  explicit MailServer(std::vector<std::string> options = {})
      : process_(Command(std::move(options))) {
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
      const std::string text = ReadFile(dir_ / "mails");
      for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        if (end == std::string::npos) return false;  // it is just writing
        mails.push_back(nlohmann::json::parse(text.substr(at, end - at)));
        at = end + 1;
      }
      return mails.size() >= count;
    };
    EXPECT_TRUE(Eventually(arrived)) << mails.size() << " mails" << process_.Errors();
    return mails;
  }

  /// A certificate with its key for this machine, in one file of `dir`.
  static std::string MakeCertificate(const TempDir& dir) {
    const std::string key = dir / "key.pem";
    const std::string certificate = dir / "certificate.pem";
    EXPECT_EQ(RunProgram({"openssl",
                          "req",
                          "-x509",
                          "-newkey",
                          "rsa:2048",
                          "-nodes",
                          "-days",
                          "2",
                          "-subj",
                          "/CN=localhost",
                          "-addext",
                          "subjectAltName=IP:127.0.0.1",
                          "-keyout",
                          key,
                          "-out",
                          certificate})
                  .status,
              0);
    WriteFile(dir / "both.pem", ReadFile(key) + ReadFile(certificate));
    return dir / "both.pem";
  }

 private:
  std::vector<std::string> Command(std::vector<std::string> options) {
    std::vector<std::string> command{WATCHPOST_SOURCE_DIR "/tests/support/mailserver",
                                     dir_ / "mails"};
    command.insert(command.end(), options.begin(), options.end());
    return command;
  }

  TempDir dir_;
  Process process_;
  std::string port_;
};

}  // namespace watchpost::test
