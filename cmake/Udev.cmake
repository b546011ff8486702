# The udev rule that gives a camera's SCSI generic node to group plugdev.
# It goes under the prefix like everything else (/usr/lib/udev/rules.d for
# the packages); a build installed elsewhere copies it by hand.
install(FILES ${PROJECT_SOURCE_DIR}/packaging/60-vkrnq402-camera.rules
        DESTINATION lib/udev/rules.d COMPONENT tools)
