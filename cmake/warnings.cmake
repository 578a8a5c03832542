# Warnings are errors in all hand-written code; libraries of others come in as system headers.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
