// The symbols that the shared library exports. The library is built with hidden visibility: a program can link only
// against what is marked AMQP_EXPORT.
#pragma once

#if defined(__GNUC__) && !defined(_WIN32) // where symbols have no visibility
#define AMQP_EXPORT __attribute__((visibility("default")))
/// Members of an exported class that only the library itself calls.
#define AMQP_LOCAL __attribute__((visibility("hidden")))
#else
#define AMQP_EXPORT
#define AMQP_LOCAL
#endif
