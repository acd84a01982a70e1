// Clang's thread-safety attributes under short names; other compilers see nothing.
// `scripts/check.sh` compiles the module with -Wthread-safety, so GUARDED_BY is enforced.
#pragma once

#if defined(__clang__)
#define BASE_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define BASE_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) BASE_THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY BASE_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) BASE_THREAD_ANNOTATION(guarded_by(x))
#define REQUIRES(...) BASE_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ASSERT_CAPABILITY(x) BASE_THREAD_ANNOTATION(assert_capability(x))
#define EXCLUDES(...) BASE_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) BASE_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) BASE_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) BASE_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
// For the few functions that take or release a lock conditionally.
#define NO_THREAD_SAFETY_ANALYSIS BASE_THREAD_ANNOTATION(no_thread_safety_analysis)
