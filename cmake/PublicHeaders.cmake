# The headers that callers get, by name: what is installed is what the tests compile alone.
set(VEXO_SHARING_HEADERS
    base_db condition entry entry_db keys object object_db result result_code session session_db
    sharing_db sharing_link sharing_visit sharinglogin token token_db utils value_text version)
set(VEXO_SHARING_C_HEADERS  # also for C
    keys result_code sharing_link sharing_visit sharinglogin version)
set(VEXO_PLATFORM_HEADERS account autoblock cgi core db)  # C and C++; random.hpp is C++ alone
