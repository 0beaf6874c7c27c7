// Loaded by the tests of shared libraries.
extern "C" __attribute__((visibility("default"))) int norqTestAnswer() { return 42; }
