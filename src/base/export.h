// Marks what libwatchpost.so exports; everything else is hidden.
#pragma once

#define WATCHPOST_API __attribute__((visibility("default")))

// Results that must be looked at: within this project's own build, not in programs that include the
// headers.
#ifdef WATCHPOST_BUILD
#define WATCHPOST_NODISCARD [[nodiscard]]
#else
#define WATCHPOST_NODISCARD
#endif
