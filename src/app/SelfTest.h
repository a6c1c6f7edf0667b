#pragma once

#include "app/Arguments.h"

// The program's check of its own behaviour; each check logs one line. Returns the exit status.
namespace SelfTest {
int run(const Arguments& args);
}
