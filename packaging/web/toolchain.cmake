# WebAssembly by clang and lld, without a run-time.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET wasm32)
set(CMAKE_CXX_COMPILER_TARGET wasm32)
set(CMAKE_C_FLAGS_INIT -ffreestanding)
set(CMAKE_CXX_FLAGS_INIT -ffreestanding)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)  # a program would want a run-time
