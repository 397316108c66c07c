// Symbol export macros of the three binaries: the medium_physics library itself (one exported
// entry point), the block stream library and the standalone host platform library.
#pragma once

#if defined(_WIN32)
#  define MP_DECL_EXPORT __declspec(dllexport)
#  define MP_DECL_IMPORT __declspec(dllimport)
#else
#  define MP_DECL_EXPORT __attribute__((visibility("default")))
#  define MP_DECL_IMPORT __attribute__((visibility("default")))
#endif

// medium_physics: only create_medium_physics carries this.
#if defined(MEDIUM_PHYSICS_BUILDING)
#  define MEDIUM_PHYSICS_API MP_DECL_EXPORT
#elif defined(MEDIUM_PHYSICS_STATIC)
#  define MEDIUM_PHYSICS_API
#else
#  define MEDIUM_PHYSICS_API MP_DECL_IMPORT
#endif

// The host platform (strings, log, GUIDs, memory pools, host system), implemented by the
// standalone host library or by a solver's own platform library of the same interface.
#if defined(MEDIUM_PHYSICS_HOST_BUILDING)
#  define MP_HOST_API MP_DECL_EXPORT
#else
#  define MP_HOST_API MP_DECL_IMPORT
#endif

// The block stream library.
#if defined(C_FILE_IO_BUILDING)
#  define C_FILE_IO_API MP_DECL_EXPORT
#else
#  define C_FILE_IO_API MP_DECL_IMPORT
#endif
