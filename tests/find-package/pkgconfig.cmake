# Builds the consumer with the flags that kvdbase.pc gives, and runs it; any
# failing step stops with its command.
file(MAKE_DIRECTORY ${WORK})
file(GLOB_RECURSE pc_file ${STAGE}/kvdbase.pc)
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
get_filename_component(lib_dir "${pc_dir}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
execute_process(COMMAND pkg-config --cflags --libs kvdbase
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND c++ -std=c++17 ${SOURCE} -o ${WORK}/consumer ${flags} -Wl,-rpath,${lib_dir}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${WORK}/consumer COMMAND_ERROR_IS_FATAL ANY)
