# The compiler settings of everything built here, in one place: target_link_libraries(x PRIVATE tescore_strict).
add_library(tescore_strict INTERFACE)
target_compile_features(tescore_strict INTERFACE cxx_std_17)
target_compile_options(tescore_strict INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
    -Wcast-align -Wformat=2 -Wundef -Wno-sign-conversion
    # QSKIP and QVERIFY are called without their optional argument, as Qt documents.
    $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>
    $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op -Wduplicated-cond -Wduplicated-branches>)
target_compile_definitions(tescore_strict INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_KEYWORDS QT_NO_FOREACH QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    _FILE_OFFSET_BITS=64 _TIME_BITS=64)

# x87 registers keep more digits than a double has: 32-bit x86 computes with SSE2, to give x86-64's answers.
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86_64)$")
    target_compile_options(tescore_strict INTERFACE -msse2 -mfpmath=sse)
endif()

if(TESCORE_SANITIZE)
    target_compile_options(tescore_strict INTERFACE
        -fsanitize=${TESCORE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
    target_link_options(tescore_strict INTERFACE -fsanitize=${TESCORE_SANITIZE})
endif()
