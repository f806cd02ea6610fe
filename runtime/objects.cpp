#include "runtime/objects.hpp"

extern "C" {

// The process list and the owner harness join these handlers when the object layer exists.
void nolt_objects_atfork_prepare(void) {}
void nolt_objects_atfork_parent(void) {}
void nolt_objects_atfork_child(void) {}

void nolt_owner_atfork_prepare(void) {}
void nolt_owner_atfork_parent(void) {}
void nolt_owner_atfork_child(void) {}

}  // extern "C"
