// A web program that prints a line and ends.  It loads the same libraries as a check, and
// uses none of them.

#include <cstdio>

int main() { std::puts("Status: 200"); }
