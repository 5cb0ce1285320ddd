#pragma once

/// NETWEFT_EXPORT marks what hosts may use. Everything else in the shared library is hidden.
#if defined(_WIN32)
#  if defined(NETWEFT_BUILDING)
#    define NETWEFT_EXPORT __declspec(dllexport)
#  else
#    define NETWEFT_EXPORT __declspec(dllimport)
#  endif
#else
#  define NETWEFT_EXPORT __attribute__((visibility("default")))
#endif
