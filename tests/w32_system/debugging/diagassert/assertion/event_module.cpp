// Reports are written to the event log only if this module is loaded.
extern "C" __attribute__((visibility("default"))) const int plinth_test_event_module = 1;
