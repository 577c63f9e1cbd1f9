# The tools' libraries that are headers alone. A cross build takes them from the machine that builds, but
# without the rest that lies beside them there.

if(NOT CMAKE_CROSSCOMPILING)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
    return()
endif()

set(TESKD_HEADERS ${CMAKE_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${TESKD_HEADERS})
foreach(library IN ITEMS CLI11::CLI11=CLI nlohmann_json::nlohmann_json=nlohmann)
    string(REPLACE = ";" library ${library})
    list(POP_FRONT library name directory)
    file(CREATE_LINK /usr/include/${directory} ${TESKD_HEADERS}/${directory} SYMBOLIC)
    add_library(${name} INTERFACE IMPORTED GLOBAL)
    target_include_directories(${name} INTERFACE ${TESKD_HEADERS})
endforeach()
