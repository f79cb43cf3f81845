################################################################################
#
# r8
#
################################################################################

# Built from the sources that this tree lies in.
R8_SITE = $(BR2_EXTERNAL_R8_PATH)/../..
R8_SITE_METHOD = local
# No licence has been chosen: nothing of it is handed on by "make legal-info".
R8_REDISTRIBUTE = NO
R8_CONF_OPTS = \
	-DR8_WITH_BOARD=OFF \
	-DR8_WITH_TESTS=OFF \
	-DR8_WARNINGS_ARE_ERRORS=OFF

$(eval $(cmake-package))
