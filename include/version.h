#pragma once

/// @file
/// Version of the library whose headers a program is compiled with, for C and C++.

/// The version as text.
#define VEXOSHARING_VERSION "7.0.0"
/// First number; changes when programs must be compiled again.
#define VEXOSHARING_VERSION_MAJOR 7
/// Second number; changes with new functions.
#define VEXOSHARING_VERSION_MINOR 0
/// Third number; changes with corrections.
#define VEXOSHARING_VERSION_PATCH 0
