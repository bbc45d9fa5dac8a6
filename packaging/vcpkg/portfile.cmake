# Set SOURCE_ARCHIVE_URL and its hash when a release is published.
vcpkg_download_distfile(archive URLS "https://oru-rtc.example/oru-rtc-support-${VERSION}.tar.gz"
  FILENAME "oru-rtc-support-${VERSION}.tar.gz" SHA512 0)
vcpkg_extract_source_archive(source ARCHIVE "${archive}")

vcpkg_check_features(OUT_FEATURE_OPTIONS features FEATURES crash-handler ORU_BUILD_CRASH_HANDLER)
vcpkg_cmake_configure(SOURCE_PATH "${source}"
  OPTIONS -DORU_BUILD_COMMANDS=OFF -DORU_BUILD_EXAMPLES=OFF -DORU_BUILD_TESTS=OFF -DCMAKE_INSTALL_LIBDIR=lib ${features})
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME OruRTCSupport CONFIG_PATH lib/cmake/OruRTCSupport)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${source}/packaging/debian/copyright")
