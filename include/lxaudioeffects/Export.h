// Symbol export for the lxaudioeffects shared library.
#pragma once

#if defined(_WIN32)
#  if defined(LXAUDIOEFFECTS_BUILDING)
#    define LXFX_API __declspec(dllexport)
#  else
#    define LXFX_API __declspec(dllimport)
#  endif
#else
#  define LXFX_API __attribute__((visibility("default")))
#endif
