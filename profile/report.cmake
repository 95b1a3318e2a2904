# What a resolution is told as: JSON and a page for a browser.
find_package(nlohmann_json REQUIRED)

set(report_parts html/report.html html/report.css html/report.js html/report_page.cpp.in)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${report_parts})
file(READ html/report.css report_css)
file(READ html/report.js report_js)
configure_file(html/report.html report.html @ONLY)
file(READ "${CMAKE_CURRENT_BINARY_DIR}/report.html" report_page)
configure_file(html/report_page.cpp.in report_page.cpp @ONLY)

add_library(lokata_report STATIC
    src/report_html.cpp
    src/report_json.cpp
    src/resolution.cpp
    src/resolution_summary.cpp
    "${CMAKE_CURRENT_BINARY_DIR}/report_page.cpp")
lokata_private_warnings(lokata_report)
target_include_directories(lokata_report PRIVATE src)
target_link_libraries(lokata_report
    PUBLIC lokata_identity
    PRIVATE nlohmann_json::nlohmann_json)

lokata_add_tests(lokata_report_test
    SOURCES tests/report_test.cpp
    LIBRARIES lokata_report nlohmann_json::nlohmann_json)
if(LOKATA_BUILD_TESTS)
    target_compile_definitions(lokata_report_test
        PRIVATE RESOLVE_SCHEMA="${PROJECT_SOURCE_DIR}/docs/resolve.schema.json")
    # The schema validator uses std::regex, of which g++ 12 says so falsely once sanitizers are on.
    target_compile_options(lokata_report_test PRIVATE -Wno-maybe-uninitialized)
endif()
