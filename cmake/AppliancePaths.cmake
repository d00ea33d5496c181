# Where the appliance's own files lie: fixed paths that the code names, whatever the prefix.
set(VEXO_ROOT_DIR /usr/vexo)
set(VEXO_BIN_DIR ${VEXO_ROOT_DIR}/bin)
set(VEXO_LIBEXEC_DIR ${VEXO_ROOT_DIR}/libexec)
set(VEXO_SCHEMA_DIR ${VEXO_ROOT_DIR}/share/vexosharing/db_schema)
set(VEXO_CACHE_DIR ${VEXO_ROOT_DIR}/var/cache/sharing)
set(VEXO_PRIVATE_DIR ${VEXO_ROOT_DIR}/etc/private)
set(VEXO_LOG_DIR ${VEXO_ROOT_DIR}/var/log/sharing)
