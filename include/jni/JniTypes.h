#pragma once

// The types of the Java Native Interface by name, exactly as jni.h has them, so that programs that meet no Java need no
// JDK. A source that works with them includes jni.h too, in either order.

struct JNIEnv_;
struct JavaVM_;
using JNIEnv = JNIEnv_;
using JavaVM = JavaVM_;

class _jobject;
class _jclass;
class _jstring;
class _jthrowable;
class _jobjectArray;
using jobject = _jobject*;
using jclass = _jclass*;
using jstring = _jstring*;
using jthrowable = _jthrowable*;
using jobjectArray = _jobjectArray*;

struct _jmethodID;
using jmethodID = _jmethodID*;
