// Paths of the service and of recordings.
#pragma once

#include <list>
#include <string>

#include "event/event.h"

/// Full path of a recording's file; empty unless both the recording and its camera are stored.
std::string EventFilePath(Event& event) noexcept;

/// The folder of the service's share. Returns 0; -1 with a line in the system log.
int GetSServiceDir(std::string& dir) noexcept;

/// Makes the service's temporary folder, and tells it and the service's folder. Returns 0; -1 with
/// a line in the system log.
int CheckAndMakeTempDir(std::string& serviceTmpDir, std::string& serviceDir) noexcept;

/// Full paths of the entries of the service's folder. Returns 0 or -1.
int ListServiceDirEntries(std::list<std::string>& entries) noexcept;
