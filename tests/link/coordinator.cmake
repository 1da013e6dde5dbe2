# The changeset coordinator against a private $XDG_DATA_HOME, with forked processes for the
# cross-process cases.
cvdiff_test(coordinator_tests
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/CVChangesetCoordinatorTest.cpp
    LIBRARIES cv_link)
