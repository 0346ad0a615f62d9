# Runs at installation, after cmake/Install.cmake: links, and files that name the program's full path.
set(root "$ENV{DESTDIR}")
# As GNUInstallDirs has it: the configuration of programs in /usr is in /etc.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  cmake_path(ABSOLUTE_PATH PELLORA_ETC BASE_DIRECTORY /)
endif()
# Each folder is relative to the prefix unless the one who configured the build gave its full path.
foreach(folder PROGRAM DATA BIN SHARE ETC)
  cmake_path(ABSOLUTE_PATH PELLORA_${folder} BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
endforeach()

file(RELATIVE_PATH from_bin "${PELLORA_BIN}" "${PELLORA_PROGRAM}")
file(MAKE_DIRECTORY "${root}${PELLORA_BIN}")
file(CREATE_LINK "${from_bin}/Pellora" "${root}${PELLORA_BIN}/pellora" SYMBOLIC)
file(CREATE_LINK "${from_bin}/pelloractl" "${root}${PELLORA_BIN}/pelloractl" SYMBOLIC)

# Debian's zsh has a separate folder for the completions of packages.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS "/etc/debian_version")
  set(zsh_folder "vendor-completions")
else()
  set(zsh_folder "site-functions")
endif()
file(INSTALL "${PELLORA_TEMPLATES}/completions/_pellora" "${PELLORA_TEMPLATES}/completions/_pelloractl"
     DESTINATION "${PELLORA_SHARE}/zsh/${zsh_folder}")

function(pellora_install_template name target)
  configure_file("${PELLORA_TEMPLATES}/${name}" "${root}${target}" @ONLY
                 FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  message(STATUS "Installing: ${root}${target}")
endfunction()

pellora_install_template(PelloraProject.Pellora.service.in
                         "${PELLORA_SHARE}/dbus-1/services/PelloraProject.Pellora.service")
pellora_install_template(pellora.service.in "${CMAKE_INSTALL_PREFIX}/lib/systemd/user/pellora.service")
pellora_install_template(Pellora.ini "${PELLORA_ETC}/xdg/pellora/Pellora.ini")
set(host pelloraproject.pellora.json)
pellora_install_template(host-firefox.json.in "${CMAKE_INSTALL_PREFIX}/lib/mozilla/native-messaging-hosts/${host}")
pellora_install_template(host-chromium.json.in "${PELLORA_ETC}/chromium/native-messaging-hosts/${host}")
pellora_install_template(host-chromium.json.in "${PELLORA_ETC}/opt/chrome/native-messaging-hosts/${host}")
pellora_install_template(chromium.d.in "${PELLORA_ETC}/chromium.d/pellora")

# Firefox loads for all users what lies here under its own id and that of the extension.
set(firefox "{ec8030f7-c20a-464f-9b0e-13a3a9e97384}")
set(extensions "${PELLORA_SHARE}/mozilla/extensions/${firefox}")
file(MAKE_DIRECTORY "${root}${extensions}")
file(RELATIVE_PATH extension "${extensions}" "${PELLORA_DATA}/browser")
file(CREATE_LINK "${extension}" "${root}${extensions}/pellora@pellora.example" SYMBOLIC)
