// Marks what libwatchpost.so exports; everything else is hidden.
#pragma once

#define WATCHPOST_API __attribute__((visibility("default")))
