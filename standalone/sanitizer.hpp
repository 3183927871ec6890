#pragma once

// Whether the build has a sanitizer that watches memory or threads: 0 or 1. A source that is compiled
// without one for such a build is told so.
#ifdef NQ_UNDER_SANITIZER
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NQ_UNDER_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define NQ_UNDER_SANITIZER 1
#endif
#endif
#ifndef NQ_UNDER_SANITIZER
#define NQ_UNDER_SANITIZER 0
#endif
