#pragma once

#include "app/CorvaneApplication.h"

// Runs the application with its window: GLib's loop drives the sd-event loop, so the bus and the
// widgets share one thread. Answers the process's status: 1 when the application could not start
// (no bus, already running), else the sd-event loop's exit code.
int CorvaneRunWithWindow(CorvaneApplication& application, const char* programName);
