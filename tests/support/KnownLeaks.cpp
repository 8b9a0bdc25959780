// KnownLeaks: what the leak checker does not report. A source of the programs that read bytes in an
// unknown version, and of no others; without the checker nothing asks for it.

extern "C" {

// Reading an unknown version leaves its buffer behind, an oddity that is kept and that
// bootstrap_buffer_test pins. Whatever else might leak there is seen by
// bootstrap_memory_test, which does not link this.
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  return "leak:SvrBootstrapSpecsSerializer::deserializeSpecs\n";
}

// Knowing the function by its name takes a program that finds names. The compiler may come without
// its own, never without the linker's.
const char* __asan_default_options();
const char* __asan_default_options() {
  return "external_symbolizer_path=/usr/bin/addr2line";
}
}
