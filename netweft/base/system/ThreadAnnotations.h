#pragma once

/// What Clang's thread safety analysis (-Wthread-safety) is told: which lock guards a member, and what a function wants
/// of a lock or does to it. Other compilers see nothing.
#if defined(__clang__)
#  define NETWEFT_THREAD_ANNOTATION(annotation) __attribute__((annotation))
#else
#  define NETWEFT_THREAD_ANNOTATION(annotation)
#endif

/// Of a class: its objects are locks, or hold one for a scope.
#define NETWEFT_CAPABILITY(name) NETWEFT_THREAD_ANNOTATION(capability(name))
#define NETWEFT_SCOPED_CAPABILITY NETWEFT_THREAD_ANNOTATION(scoped_lockable)

/// Of a member: it is read and written only with the lock held.
#define NETWEFT_GUARDED_BY(lock) NETWEFT_THREAD_ANNOTATION(guarded_by(lock))

/// Of a function: its caller holds the locks; it takes them; it gives them back. Without locks: the object itself.
#define NETWEFT_REQUIRES(...) NETWEFT_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define NETWEFT_ACQUIRE(...) NETWEFT_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define NETWEFT_RELEASE(...) NETWEFT_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

/// Of a function: the lock is held once it has returned, for a reason that the analysis cannot see; it gives the lock.
#define NETWEFT_ASSERT_CAPABILITY(lock) NETWEFT_THREAD_ANNOTATION(assert_capability(lock))
#define NETWEFT_RETURN_CAPABILITY(lock) NETWEFT_THREAD_ANNOTATION(lock_returned(lock))
