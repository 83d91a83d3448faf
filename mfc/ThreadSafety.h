/// @file
/// What a lock guards, in words that clang checks (-Wthread-safety). Other compilers read nothing.
#pragma once

#ifdef __clang__
#define ORB_THREAD_SAFETY(attribute) __attribute__((attribute)) ///< for the words below
#else
#define ORB_THREAD_SAFETY(attribute) ///< for the words below
#endif

#define ORB_LOCK ORB_THREAD_SAFETY(capability("lock"))     ///< a type of lock
#define ORB_SCOPED_LOCK ORB_THREAD_SAFETY(scoped_lockable) ///< a type that holds a lock while it lives
#define ORB_GUARDED_BY(x) ORB_THREAD_SAFETY(guarded_by(x)) ///< data that may be used with this lock alone
/// A function that takes these locks, or its own.
#define ORB_ACQUIRES(...) ORB_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
/// A function that gives these locks back, or its own.
#define ORB_RELEASES(...) ORB_THREAD_SAFETY(release_capability(__VA_ARGS__))
/// A function that may be called with these locks alone.
#define ORB_REQUIRES(...) ORB_THREAD_SAFETY(requires_capability(__VA_ARGS__))
/// A function that makes sure that these locks, or its own, are held.
#define ORB_HOLDS(...) ORB_THREAD_SAFETY(assert_capability(__VA_ARGS__))
/// A function that is not checked; its comment says why it is right.
#define ORB_UNCHECKED_LOCKS ORB_THREAD_SAFETY(no_thread_safety_analysis)
