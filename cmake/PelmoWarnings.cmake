# Warnings every target of the project is built with.
add_library(pelmo_warnings INTERFACE)
target_compile_options(pelmo_warnings INTERFACE -Wall -Wextra)
