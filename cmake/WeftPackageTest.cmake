# The installed package, tried as an adopter would: CTest installs the build into a prefix,
# configures and builds examples/consumer against it with find_package, and runs the program.
set(WEFT_PACKAGE_TEST ${CMAKE_BINARY_DIR}/package-test)
add_test(NAME package_fresh
         COMMAND ${CMAKE_COMMAND} -E rm -rf ${WEFT_PACKAGE_TEST})
add_test(NAME package_install_prefix
         COMMAND ${CMAKE_COMMAND} --install ${CMAKE_BINARY_DIR} --prefix ${WEFT_PACKAGE_TEST}/prefix)
add_test(NAME package_consumer_configure
         COMMAND ${CMAKE_COMMAND} -S ${CMAKE_SOURCE_DIR}/examples/consumer -B ${WEFT_PACKAGE_TEST}/consumer
                 -G ${CMAKE_GENERATOR} -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}
                 -DCMAKE_PREFIX_PATH=${WEFT_PACKAGE_TEST}/prefix)
add_test(NAME package_consumer_build
         COMMAND ${CMAKE_COMMAND} --build ${WEFT_PACKAGE_TEST}/consumer)
add_test(NAME package_consumer_run
         COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR} ${WEFT_PACKAGE_TEST}/consumer/weftcore_consumer.exe)
add_test(NAME package_cleanup
         COMMAND ${CMAKE_COMMAND} -E rm -rf ${WEFT_PACKAGE_TEST})
set_tests_properties(package_fresh PROPERTIES FIXTURES_SETUP weft_package_clean)
set_tests_properties(package_install_prefix PROPERTIES FIXTURES_REQUIRED weft_package_clean FIXTURES_SETUP weft_package_prefix)
set_tests_properties(package_consumer_configure PROPERTIES FIXTURES_REQUIRED weft_package_prefix FIXTURES_SETUP weft_package_configured)
set_tests_properties(package_consumer_build PROPERTIES FIXTURES_REQUIRED "weft_package_prefix;weft_package_configured"
                     FIXTURES_SETUP weft_package_built TIMEOUT 300)
set_tests_properties(package_consumer_run PROPERTIES
                     FIXTURES_REQUIRED "weft_package_prefix;weft_package_configured;weft_package_built;weft_wine")
set_tests_properties(package_cleanup PROPERTIES FIXTURES_CLEANUP "weft_package_prefix;weft_package_configured;weft_package_built")
