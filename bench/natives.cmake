if(NORQSTD_JAVAC)
    norqstd_add_jar(norqstd-bench-natives-java "${PROJECT_SOURCE_DIR}/bench/natives" "${PROJECT_SOURCE_DIR}/examples/java/bindings")
    get_target_property(jar norqstd-bench-natives-java JAR_FILE)
    target_link_libraries(norqstd-bench-natives PRIVATE JNI::JNI)
    target_compile_definitions(norqstd-bench-natives PRIVATE BENCH_JVM="${NORQSTD_JVM}" BENCH_JAR="${jar}"
        BENCH_LIBRARY_FOLDER="$<TARGET_FILE_DIR:NorqStd>")
    add_dependencies(norqstd-bench-natives norqstd-bench-natives-java)
endif()
