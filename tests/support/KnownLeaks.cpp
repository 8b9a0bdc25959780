// KnownLeaks: suppressions of the leak checker. Linked only into programs that decode a
// bootstrap specification of an unknown version.

extern "C" {

// An oddity that is kept: decoding an unknown version leaks a buffer, as bootstrap_buffer_test
// checks. The suppression hides every leak of deserializeSpecs. library_memory_test, which does not
// link this file, detects any other leak of that function.
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  return "leak:SvrBootstrapSpecsSerializer::deserializeSpecs\n";
}

// To suppress a leak by function name, the checker needs a symbolizer. The compiler's symbolizer
// may be missing, but addr2line comes with the linker.
const char* __asan_default_options();
const char* __asan_default_options() {
  return "external_symbolizer_path=/usr/bin/addr2line";
}
}
