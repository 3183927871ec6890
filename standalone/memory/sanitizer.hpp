#pragma once

// Whether a sanitizer that watches memory or threads compiles this source: 0 or 1.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
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
