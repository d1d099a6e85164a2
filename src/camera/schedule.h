// Recording modes of the weekly schedule.
#pragma once

/// What a camera records in one hour of the week. Values beyond the named ones are stored as they
/// are.
enum RecordingType : int {
  RECORDING_NONE = 0,        ///< nothing
  RECORDING_CONTINUOUS = 1,  ///< everything
  RECORDING_MOTION = 2,      ///< while something moves
};
