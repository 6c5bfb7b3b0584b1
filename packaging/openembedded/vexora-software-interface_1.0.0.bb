# SPDX-License-Identifier: Apache-2.0
SUMMARY = "Utility library of the management controller's firmware"
DESCRIPTION = "The library that every daemon of the board loads: debug log, locks, rings, pipes and queues, sensor \
history, settings, validators, signatures; and a command-line tool to look into what they leave behind."
SECTION = "libs"
LICENSE = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# A layer sets its own mirror and commit.
SRC_URI = "git://vexora.example/software-interface.git;protocol=https;branch=main \
           file://run-ptest"
SRCREV ?= "${AUTOREV}"
S = "${WORKDIR}/git"

DEPENDS = "json-c openssl python3-native"

inherit cmake pkgconfig ptest

# The board's own platform libraries come from the recipe that provides vexora-firmware; otherwise the stand-ins are
# used. The tests control the stand-ins, so only that build has a ptest package.
PACKAGECONFIG ??= "tool"
PACKAGECONFIG[tool] = "-DVEXORA_BUILD_TOOLS=ON,-DVEXORA_BUILD_TOOLS=OFF,cli11"
PACKAGECONFIG[plot] = "-DVEXORA_TOOLS_PLOT=ON,-DVEXORA_TOOLS_PLOT=OFF,cairo"
PACKAGECONFIG[standins] = "-DVEXORA_FIRMWARE_DIR=,-DVEXORA_FIRMWARE_DIR=${STAGING_LIBDIR},zlib"
DEPENDS += "${@bb.utils.contains('PACKAGECONFIG', 'standins', '', 'vexora-firmware', d)}"
PTEST_ENABLED:forcevariable = "${@'1' if bb.utils.contains('DISTRO_FEATURES', 'ptest', True, False, d) and \
    bb.utils.contains('PACKAGECONFIG', 'standins', True, False, d) else ''}"
DEPENDS += "${@'googletest' if d.getVar('PTEST_ENABLED') == '1' else ''}"

EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=Release -DVEXORA_BUILD_EXAMPLES=OFF \
    ${@'-DBUILD_TESTING=ON -DVEXORA_TEST_FOLDER=' + d.getVar('PTEST_PATH') if d.getVar('PTEST_ENABLED') == '1' \
       else '-DBUILD_TESTING=OFF'}"

do_install:append() {
    if ${@bb.utils.contains('PACKAGECONFIG', 'standins', 'true', 'false', d)}; then
        DESTDIR=${D} cmake --install ${B} --component standins
    fi
}

# The tests find the library and the stand-ins next to them, as in the build.
do_install_ptest() {
    install -d ${D}${PTEST_PATH}/tests/support ${D}${PTEST_PATH}/tests/platform ${D}${PTEST_PATH}/firmware
    install -m 0755 ${B}/tests/*_test ${D}${PTEST_PATH}/tests/
    install -m 0755 ${S}/tests/support/private_root ${D}${PTEST_PATH}/tests/support/
    install -m 0644 ${S}/tests/platform/*.txt ${D}${PTEST_PATH}/tests/platform/
    install -m 0755 ${B}/libvexora_software_interface.so.1 ${D}${PTEST_PATH}/
    install -m 0755 ${B}/firmware/*.so* ${D}${PTEST_PATH}/firmware/
}

PACKAGES =+ "${PN}-tools ${PN}-standins"
FILES:${PN}-tools = "${bindir}/vexora ${datadir}/bash-completion ${datadir}/fish ${datadir}/zsh"
FILES:${PN}-standins = "${libdir}/libaes.so.13 ${libdir}/libblowfish.so.13 ${libdir}/libchecksum.so.13 \
    ${libdir}/libencoding.so.13 ${libdir}/libfeaturedefine.so.13 ${libdir}/libgpio.so.13 ${libdir}/libunix.so.13 \
    ${libdir}/libipmipdk.so"
FILES:${PN}-dev += "${libdir}/cmake"
# A plugin that is opened under this name: it must not go into the -dev package with the developers' links.
FILES_SOLIBSDEV = "${libdir}/libvexora_software_interface.so ${libdir}/lib[abcefgu]*.so"
RDEPENDS:${PN}-ptest += "bash bubblewrap"
