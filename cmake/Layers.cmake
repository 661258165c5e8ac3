# The layers of the library, bottom first, and the layers each one may use. Read by
# src/CMakeLists.txt (one object library per layer) and by CheckLayers.cmake.
set(TLVUTL_LAYERS core platform frame memory xml environment units runtime)
set(TLVUTL_LAYER_DEPS_core "")
set(TLVUTL_LAYER_DEPS_platform core)
set(TLVUTL_LAYER_DEPS_frame core platform)
set(TLVUTL_LAYER_DEPS_memory core platform frame)
set(TLVUTL_LAYER_DEPS_xml core platform frame)
set(TLVUTL_LAYER_DEPS_environment core platform frame xml)
set(TLVUTL_LAYER_DEPS_units core platform frame xml environment)
set(TLVUTL_LAYER_DEPS_runtime core platform frame memory xml environment units)
