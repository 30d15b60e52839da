#pragma once

// Marks what the shared library exports: the classes and functions of the installed headers.
// Everything else is compiled hidden and stands in the namespace contactmgr_internal, so that no
// name of the program that uses the library can take its place, not even in the static library.
#define CONTACTMGR_API __attribute__((visibility("default")))
