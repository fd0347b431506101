message(FATAL_ERROR "This build is not for packages, which take the folders of the prefix /usr. Make them with the "
                    "preset 'packages': cmake --preset packages && cmake --build --preset packages && cpack --preset packages")
