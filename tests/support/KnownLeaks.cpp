// KnownLeaks: suppressions of the leak checker. Linked only into programs that decode a
// bootstrap specification of an unknown version.

extern "C" {

// Decoding an unknown version leaks its buffer. This oddity is kept; bootstrap_buffer_test checks
// it. library_memory_test, which does not link this file, detects other leaks.
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  return "leak:SvrBootstrapSpecsSerializer::deserializeSpecs\n";
}

// Suppression by function name needs a symbolizer. The compiler's symbolizer may be missing, but
// addr2line comes with the linker.
const char* __asan_default_options();
const char* __asan_default_options() {
  return "external_symbolizer_path=/usr/bin/addr2line";
}
}
