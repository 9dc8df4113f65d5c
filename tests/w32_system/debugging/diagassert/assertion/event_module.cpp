// The module whose presence lets reports go to the event log.
extern "C" __attribute__((visibility("default"))) const int plinth_test_event_module = 1;
