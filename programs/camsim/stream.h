// Sending pictures to one client: a multipart stream in a chosen dialect, or a single snapshot.
#pragma once

#include <map>
#include <string>

#include "fault.h"
#include "frames.h"

namespace camsim {

/// How cameras of different makers write a stream.
enum class Dialect {
  kLengthAfterType,
  kLengthBeforeType,
  kNoLength,
  kHyphens,      ///< the announced boundary begins with hyphens
  kLineFeeds,    ///< lines end with LF alone
  kQuoted,       ///< the announced boundary stands in quotes
  kCapitals,     ///< the boundary is written in capitals
  kExtraHeader,  ///< a line of its own between type and length
  kChunked,      ///< HTTP/1.1, the body in chunks of 4 KiB
  kJpg,          ///< parts of type image/jpg
  kShortLength,  ///< lengths that are 100 bytes too small
};

extern const std::map<std::string, Dialect> kDialectNames;

struct StreamOptions {
  double fps = 25;  ///< frames a second, above 0
  Dialect dialect = Dialect::kLengthAfterType;
};

/// Sends a stream until the client or a fault ends it, or the socket is shut down.
void SendStream(int fd,
                const FrameSource& frames,
                const FaultSwitch& faults,
                const StreamOptions& options);

/// Sends the picture of this moment.
void SendSnapshot(int fd,
                  const FrameSource& frames,
                  const FaultSwitch& faults,
                  const StreamOptions& options);

/// Sends an answer without a picture.
void SendStatus(int fd,
                const std::string& status,
                const std::string& headers,
                const std::string& body);

}  // namespace camsim
