# norqstd_version_info(<target> [PRODUCT_NAME <text>] [PRODUCT_VERSION <text>] [COMPANY_NAME <text>] [COPYRIGHT <text>]
#                      [COMMENTS <text>] [FILE_DESCRIPTION <text>] [FILE_VERSION <text>] [INTERNAL_NAME <text>]
#                      [LEGAL_TRADEMARKS <text>] [PRIVATE_BUILD <text>] [SPECIAL_BUILD <text>])
#
# Puts a version resource into an executable or a shared library, which norq_std::FileVersionInfo and the header of a log
# file read. The resource is an ELF note of the owner "NorqStd", type 1, whose content is keys and values in UTF-8, each
# ended by a zero byte. The target must be compiled as C++.
function(norqstd_version_info target)
    set(options PRODUCT_NAME PRODUCT_VERSION COMPANY_NAME COPYRIGHT COMMENTS FILE_DESCRIPTION FILE_VERSION INTERNAL_NAME
        LEGAL_TRADEMARKS PRIVATE_BUILD SPECIAL_BUILD)
    set(keys ProductName ProductVersion CompanyName LegalCopyright Comments FileDescription FileVersion InternalName
        LegalTrademarks PrivateBuild SpecialBuild)
    cmake_parse_arguments(PARSE_ARGV 1 VERSION "" "${options}" "")
    if(VERSION_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "norqstd_version_info(${target}): unknown arguments: ${VERSION_UNPARSED_ARGUMENTS}")
    endif()
    set(content "")
    foreach(option key IN ZIP_LISTS options keys)
        if(DEFINED VERSION_${option})
            string(REGEX REPLACE "([\\\\\"?])" "\\\\\\1" value "${VERSION_${option}}")
            string(REPLACE "\n" "\\n" value "${value}")
            # Pieces of their own, so that no digit of a value runs into the zero before it.
            string(APPEND content "    \"${key}\" \"\\0\" \"${value}\" \"\\0\" \\\n")
        endif()
    endforeach()
    set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}-version-info.cpp")
    file(CONFIGURE OUTPUT "${source}" @ONLY CONTENT [[
// Written by norqstd_version_info.
#define CONTENT \
@content@    ""
static const struct {
    unsigned ownerSize;
    unsigned contentSize;
    unsigned type;
    char owner[8];
    char content[sizeof(CONTENT)];
} versionNote __attribute__((section(".note.norqstd.version"), used, aligned(4))) = {8, sizeof(CONTENT), 1, "NorqStd",
                                                                                      CONTENT};
]])
    target_sources(${target} PRIVATE "${source}")
endfunction()
