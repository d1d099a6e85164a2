// The folders of the recording service, as this module's operations see them. What fails is logged
// in the system log.
#pragma once

#include <list>
#include <string>

/// The folder of the service's share. Returns 0 or -1.
int GetSServiceDir(std::string& dir) noexcept;

/// Makes the service's temporary folder, and fills in its path and that of the service's folder.
/// Returns 0 or -1.
int CheckAndMakeTempDir(std::string& serviceTmpDir, std::string& serviceDir) noexcept;

/// Full paths of the entries of the service's folder. Returns 0 or -1.
int ListServiceDirEntries(std::list<std::string>& entries) noexcept;
