# Says where "cmake --install" puts each file, and the ZIP that CPack makes of it: the DLLs with those of the compiler that they
# need, headers, import libraries, a CMake package, the host program, the documentation and the licences.
set(include_dir include/OrbWatcher4)
set(package_dir lib/cmake/OrbWatcher4)
set(doc_dir share/doc/OrbWatcher4)

set(shipped_dlls OrbWatcher4 OrbSettings OrbIndexDB OrbLogging ReadersWriters OnlineHandler)
# The strings and locks in which the interfaces are written are linked into each program.
set(shipped_archives mfc support)

add_custom_target(shipped DEPENDS ${shipped_dlls} ${shipped_archives} orbwatch)

# A tree in which only some programs were built, such as the benchmarks, can be installed, too. An installation needs
# no debug information, with which the DLLs are ten times as large.
install(CODE "
    execute_process(COMMAND \"${CMAKE_COMMAND}\" --build \"${CMAKE_BINARY_DIR}\" --target shipped
        COMMAND_ERROR_IS_FATAL ANY)
    set(CMAKE_INSTALL_DO_STRIP 1)")
install(TARGETS ${shipped_dlls} orbwatch RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
install(TARGETS ${shipped_archives} ARCHIVE DESTINATION lib/OrbWatcher4)
install(FILES ${ORB_RUNTIME_DLLS} DESTINATION bin)
# CMake strips targets only.
foreach(dll IN LISTS ORB_RUNTIME_DLLS)
    cmake_path(GET dll FILENAME name)
    install(CODE "
        execute_process(COMMAND \"${CMAKE_STRIP}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin/${name}\"
            COMMAND_ERROR_IS_FATAL ANY)")
endforeach()

# The public headers, and those that they include.
install(FILES
    orbwatcher4/AddedRules.h
    orbwatcher4/DeletionRecord.h
    orbwatcher4/EnumerationProgress.h
    orbwatcher4/Estimate.h
    orbwatcher4/Export.h
    orbwatcher4/ExtProperties.h
    orbwatcher4/OrbFilter.h
    orbwatcher4/OrbWatcher.h
    orbwatcher4/OrbWatcherC.h
    orbwatcher4/PathExplanation.h
    orbwatcher4/QueueDatum.h
    orbwatcher4/ScanProgress.h
    orbwatcher4/Scanner.h
    orbwatcher4/SmartScanCaller.h
    DESTINATION ${include_dir}/orbwatcher4)
install(FILES orbwatcher4/core/environment/Signal.h DESTINATION ${include_dir}/orbwatcher4/core/environment)
install(FILES orbwatcher4/estimator/FSEntry.h orbwatcher4/estimator/ScanTally.h orbwatcher4/estimator/SpinFlag.h
    orbwatcher4/estimator/FileExtension.h
    DESTINATION ${include_dir}/orbwatcher4/estimator)
install(FILES orbwatcher4/filter/Filter.h orbwatcher4/filter/FilterRegex.h orbwatcher4/filter/RuleFinding.h
    orbwatcher4/filter/KeptOutPaths.h orbwatcher4/filter/RuleSet.h orbwatcher4/filter/ScanLists.h orbwatcher4/filter/WalkMemory.h orbwatcher4/filter/WalkObserver.h
    DESTINATION ${include_dir}/orbwatcher4/filter)
install(FILES mfc/CCriticalSection.h mfc/CEvent.h mfc/CString.h mfc/ThreadSafety.h DESTINATION ${include_dir}/mfc)
install(FILES support/CaseFold.h support/Handle.h support/HashMemory.h support/Hashes.h support/LockOrder.h
    support/NoCaseKeys.h support/PathFingerprint.h support/RankedSection.h
    DESTINATION ${include_dir}/support)
install(FILES companions/indexdb/CachedDatum.h companions/indexdb/OrbIndexDB.h DESTINATION ${include_dir}/companions/indexdb)
install(FILES companions/logging/OrbLogging.h DESTINATION ${include_dir}/companions/logging)
install(FILES companions/online/OnlineCallbackHandler.h DESTINATION ${include_dir}/companions/online)
install(FILES companions/readerswriters/ReadersWriters.h DESTINATION ${include_dir}/companions/readerswriters)
install(FILES companions/settings/OrbSettings.h DESTINATION ${include_dir}/companions/settings)

# The hash tables that public headers name. Resolved: the folder may be a link.
find_path(ORB_SPARSEHASH_INCLUDE sparsehash/dense_hash_map REQUIRED)
foreach(folder sparsehash google)
    file(REAL_PATH ${ORB_SPARSEHASH_INCLUDE}/${folder} real)
    install(DIRECTORY ${real}/ DESTINATION ${include_dir}/${folder})
endforeach()

include(CMakePackageConfigHelpers)
configure_package_config_file(cmake/OrbWatcher4Config.cmake.in ${CMAKE_BINARY_DIR}/OrbWatcher4Config.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/OrbWatcher4ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/OrbWatcher4Config.cmake ${CMAKE_BINARY_DIR}/OrbWatcher4ConfigVersion.cmake
    DESTINATION ${package_dir})

install(FILES README.md CHANGELOG.md DESTINATION ${doc_dir})
install(DIRECTORY docs/ DESTINATION ${doc_dir}/docs PATTERN Doxyfile EXCLUDE)
install(DIRECTORY examples/ DESTINATION ${doc_dir}/examples)
# The licences of the libraries that are linked in or shipped; tools/bootstrap collects them.
if(ORB_DEPS)
    install(DIRECTORY ${ORB_DEPS}/licences/ DESTINATION ${doc_dir}/licences)
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME OrbWatcher4)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_FILE_NAME OrbWatcher4-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "The file-system watcher library of a backup product")
include(CPack)
