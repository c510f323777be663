// The module's entry point, called by the host when it loads the module.
#pragma once

class RavProgram;
class PimPropertyDict;

extern "C" {
// Registers the module's native classes with `program`. Writes
// "Registration in progress(CP)..." to standard output unless the program's
// trace level is negative.
__attribute__((visibility("default"))) void nuvfdModuleRegistry(RavProgram* program,
                                                               PimPropertyDict* properties);
}
