// Nothing but the headers that are precompiled for the test programs.
