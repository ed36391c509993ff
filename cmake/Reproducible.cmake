# The programs hold neither the path nor the time of their build: the same sources give the same bytes wherever they lie.
# Debug builds keep true paths in their debug information, so that debuggers find the sources.
set(kind "$<IF:$<CONFIG:Debug>,macro,file>")
add_compile_options(
    "-f${kind}-prefix-map=${PROJECT_SOURCE_DIR}=."
    "-f${kind}-prefix-map=${PROJECT_BINARY_DIR}=build")
unset(kind)
