// A library that is no module.
extern "C" int answer() { return 42; }
