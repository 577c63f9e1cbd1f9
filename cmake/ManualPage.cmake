# Manual pages: teskd_manual_page(page) puts the project's version into the page of that name in the current
# source directory and writes it to the current binary directory, from where it is installed. Where mandoc is
# installed, a test checks the page; pages that it refers to need not be.

find_program(TESKD_MANDOC mandoc)

function(teskd_manual_page page)
    configure_file(${page} ${CMAKE_CURRENT_BINARY_DIR}/${page} @ONLY)
    if(TESKD_MANDOC)
        add_test(NAME Manual.${page} COMMAND ${TESKD_MANDOC} -T lint -W warning ${CMAKE_CURRENT_BINARY_DIR}/${page})
    endif()
endfunction()
