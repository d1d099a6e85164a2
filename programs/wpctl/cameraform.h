// A camera's settings as options of "camera add" and "camera set".
#pragma once

#include <watchpost/camera/camera.h>

#include <optional>
#include <string>

#include "verb.h"

namespace wpctl {

struct CameraForm {
  std::optional<std::string> name;
  std::optional<std::string> url;
  std::optional<std::string> host;
  std::optional<int> port;
  std::optional<std::string> path;
  std::optional<std::string> user;
  std::optional<std::string> password;
  std::optional<std::string> vendor;
  std::optional<std::string> model;
  std::optional<int> fps;
  std::optional<std::string> size;
  std::optional<std::string> folder;
  std::optional<std::string> prefix;
  std::optional<int> sensitivity;
  std::optional<std::string> capacity;
  std::optional<std::string> days;
  std::optional<std::string> motion_log;
};

inline constexpr char kUrlHelp[] =
    "Where its MJPEG stream is: http://[USER:PASSWORD@]HOST[:PORT]/PATH";

/// Adds the options that both commands take.
void DescribeForm(const Command& command, CameraForm& form);

/// Whether none of them was given.
bool IsEmpty(const CameraForm& form);

/// Puts what the form holds into the record. False, with `error` saying what is right, when some of
/// it is wrong.
bool FillIn(const CameraForm& form, Camera& camera, std::string& error);

}  // namespace wpctl
