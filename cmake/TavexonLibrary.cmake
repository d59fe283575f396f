# One static library per core folder, made of every .cpp in it.
function(tavexon_core_library name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS})
endfunction()

# One test program per core folder, made of every .cpp in tests/<folder>.
function(tavexon_test_program name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} tavexon_test_support GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES ENVIRONMENT "TAVEXON_SHARED=${TAVEXON_SHARED_DIR}")
endfunction()

# One test program per desktop folder: QTest on the offscreen platform, through the windows'
# own controls; tavexon-cli stands beside as the reference where a window must agree with it.
function(tavexon_desktop_test_program name)
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  if(NOT sources)
    return()
  endif()
  find_package(nlohmann_json REQUIRED)
  add_executable(${name} ${sources})
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
  target_link_libraries(${name} PRIVATE tavexon_qt_test_support nlohmann_json::nlohmann_json)
  if(TARGET tavexon-cli)
    target_compile_definitions(${name} PRIVATE TAVEXON_CLI_PATH="$<TARGET_FILE:tavexon-cli>")
    add_dependencies(${name} tavexon-cli)
  endif()
  target_compile_definitions(${name} PRIVATE TAVEXON_SAMPLES="${PROJECT_SOURCE_DIR}/samples")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
                       PROPERTIES ENVIRONMENT "TAVEXON_SHARED=${TAVEXON_SHARED_DIR};QT_QPA_PLATFORM=offscreen")
endfunction()
