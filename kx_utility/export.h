// Visibility of the shared library's interface.
#ifndef KX_UTILITY_EXPORT_H_
#define KX_UTILITY_EXPORT_H_

// The log state exists once per process, so a binary links either the shared library or the static
// twin that tests and fuzzers use, never both.
#if defined(KX_LINKS_SHARED_LIBRARY) && defined(KX_LINKS_INTERNAL_LIBRARY)
#error "link rtc_transcoder or rtc_transcoder_internal, not both"
#endif

#define KX_EXPORT __attribute__((visibility("default")))

#endif  // KX_UTILITY_EXPORT_H_
