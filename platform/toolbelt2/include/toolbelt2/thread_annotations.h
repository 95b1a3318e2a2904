#pragma once

/// What a lock guards and who has to hold it, in the words of clang's thread-safety analysis
/// (https://clang.llvm.org/docs/ThreadSafetyAnalysis.html), which checks them with -Wthread-safety.
/// Other compilers see nothing of it.
///
/// The analysis follows a lock by the expression that names it, within one function. It looks into
/// no constructor and no destructor, and it takes each lock that a pointer names for one that is
/// there.
#if defined(__clang__)
#define TOOLBELT2_THREAD_ANNOTATION(attribute) __attribute__((attribute))
#else
#define TOOLBELT2_THREAD_ANNOTATION(attribute)
#endif

/// A class of locks; `name` is what messages call them.
#define TOOLBELT2_CAPABILITY(name) TOOLBELT2_THREAD_ANNOTATION(capability(name))
/// A class whose objects hold a lock from their constructor to their destructor.
#define TOOLBELT2_SCOPED_CAPABILITY TOOLBELT2_THREAD_ANNOTATION(scoped_lockable)

/// A variable that is read under the lock, shared or exclusive, and written under it exclusively.
#define TOOLBELT2_GUARDED_BY(lock) TOOLBELT2_THREAD_ANNOTATION(guarded_by(lock))

/// A function whose caller holds the locks.
#define TOOLBELT2_REQUIRES(...) TOOLBELT2_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// A function whose caller holds none of the locks.
#define TOOLBELT2_EXCLUDES(...) TOOLBELT2_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

/// A function that returns with the locks held; without arguments its own object is the lock.
#define TOOLBELT2_ACQUIRE(...) TOOLBELT2_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TOOLBELT2_ACQUIRE_SHARED(...)                                                              \
    TOOLBELT2_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
/// A function that lets go of what was held. On the destructor of a scoped class: of either kind.
#define TOOLBELT2_RELEASE(...) TOOLBELT2_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TOOLBELT2_RELEASE_SHARED(...)                                                              \
    TOOLBELT2_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))

/// Says that the lock is held shared, where that is true for a reason beyond one function.
#define TOOLBELT2_ASSERT_SHARED(lock) TOOLBELT2_THREAD_ANNOTATION(assert_shared_capability(lock))
/// A function that gives out the lock.
#define TOOLBELT2_RETURN_CAPABILITY(lock) TOOLBELT2_THREAD_ANNOTATION(lock_returned(lock))

/// A function that the analysis is not to look into. Its reason stands beside it.
#define TOOLBELT2_NO_THREAD_SAFETY_ANALYSIS TOOLBELT2_THREAD_ANNOTATION(no_thread_safety_analysis)
