# Install components: runtime (the libraries), development (headers, CMake package, pkg-config file),
# tools (the programs).
