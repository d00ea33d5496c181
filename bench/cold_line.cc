// A web program that prints a line and ends.  It is linked with the libraries that a
// check needs, and uses none of them.

#include <cstdio>

int main() { std::puts("Status: 200"); }
