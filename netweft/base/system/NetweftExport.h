#pragma once

/// NETWEFT_EXPORT marks what hosts may use. Everything else in the shared library is hidden; NETWEFT_HIDDEN says so of
/// what is nested in an exported class, which would be as visible as the class.
#if defined(_WIN32)
#  if defined(NETWEFT_BUILDING)
#    define NETWEFT_EXPORT __declspec(dllexport)
#  else
#    define NETWEFT_EXPORT __declspec(dllimport)
#  endif
#  define NETWEFT_HIDDEN
#else
#  define NETWEFT_EXPORT __attribute__((visibility("default")))
#  define NETWEFT_HIDDEN __attribute__((visibility("hidden")))
#endif
