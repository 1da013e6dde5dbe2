# Sending and waiting: the run loop, distributed notifications, the waiter and the proxy, each
# against a private dbus-daemon that the test process starts.
cvdiff_test(send_tests
    SOURCES
        ${CMAKE_CURRENT_LIST_DIR}/CVBlockingObserverTest.cpp
        ${CMAKE_CURRENT_LIST_DIR}/CVDistributedNotificationWaiterTest.cpp
        ${CMAKE_CURRENT_LIST_DIR}/CVCLIProxyProtocolTest.cpp
    LIBRARIES cv_link cv_model cv_platform)
