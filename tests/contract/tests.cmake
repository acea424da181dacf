list(APPEND NADIRO_TEST_SOURCES contract/contract_test.cpp)
