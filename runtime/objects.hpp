// Object layer: the records of the threads that the runtime knows, and their fork handling.
#pragma once
#include <stdint.h>

extern "C" {

void nolt_objects_atfork_prepare(void);
void nolt_objects_atfork_parent(void);
void nolt_objects_atfork_child(void);

void nolt_owner_atfork_prepare(void);
void nolt_owner_atfork_parent(void);
void nolt_owner_atfork_child(void);

}  // extern "C"
