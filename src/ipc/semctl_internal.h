// What semctl(2) takes: programs must define the union themselves, and a bare int in its place
// fails on machines that pass unions otherwise.
#pragma once

#include <sys/sem.h>

namespace watchpost {

union SemctlArgument {
  int val;
  semid_ds* buf;
  unsigned short* array;
  seminfo* info;
};

/// Sets the value of one semaphore; semctl's result.
inline int SetSemaphore(int set_id, int index, int value) noexcept {
  SemctlArgument argument{};
  argument.val = value;
  return semctl(set_id, index, SETVAL, argument);
}

}  // namespace watchpost
