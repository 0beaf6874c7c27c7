// Needs a library that the loader does not find.
extern "C" __attribute__((visibility("default"))) int norqTestAnswer();
extern "C" __attribute__((visibility("default"))) int norqTestNeedy() { return norqTestAnswer(); }
