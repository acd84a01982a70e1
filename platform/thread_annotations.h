// Clang's thread-safety attributes under short names; other compilers see nothing.
// `scripts/check.sh` compiles the module with -Wthread-safety, so a member that says which lock
// guards it is held to that word.
#pragma once

#if defined(__clang__)
#define PLATFORM_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define PLATFORM_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) PLATFORM_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY PLATFORM_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) PLATFORM_THREAD_ANNOTATION(guarded_by(x))
#define ACQUIRED_AFTER(...) PLATFORM_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define REQUIRES(...) PLATFORM_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) PLATFORM_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) PLATFORM_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) PLATFORM_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) PLATFORM_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
