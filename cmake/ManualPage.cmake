# Checks a manual page, where mandoc is installed. Pages that it refers to need not be.

find_program(TESKD_MANDOC mandoc)

function(teskd_manual_page page)
    if(TESKD_MANDOC)
        add_test(NAME Manual.${page} COMMAND ${TESKD_MANDOC} -T lint -W warning ${CMAKE_CURRENT_SOURCE_DIR}/${page})
    endif()
endfunction()
