target_link_libraries(norqstd-bench-jni PRIVATE JNI::JNI)
target_compile_definitions(norqstd-bench-jni PRIVATE "NORQSTD_BENCH_JVM=\"${JAVA_JVM_LIBRARY}\"")
