// Clang's thread-safety attributes. With them the compiler checks what each lock guards. For other
// compilers they are empty.
#ifndef KV500_SUPPORT_THREAD_ANNOTATIONS_H
#define KV500_SUPPORT_THREAD_ANNOTATIONS_H

#if defined(__clang__)
#define KV500_ANNOTATION(attribute) __attribute__((attribute))
#else
#define KV500_ANNOTATION(attribute)
#endif

#define CAPABILITY(name) KV500_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY KV500_ANNOTATION(scoped_lockable)
#define GUARDED_BY(lock) KV500_ANNOTATION(guarded_by(lock))
#define REQUIRES(...) KV500_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) KV500_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) KV500_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) KV500_ANNOTATION(release_capability(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) KV500_ANNOTATION(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) KV500_ANNOTATION(acquired_after(__VA_ARGS__))

#endif
