// Everything that libwatchpost offers.
#pragma once

// IWYU pragma: begin_exports
#include "camera/camera.h"
#include "camera/camerapreset.h"
#include "camera/motiondetection.h"
#include "camera/notification.h"
#include "camera/schedule.h"
#include "foundation/byteorder.h"
#include "foundation/delaytimer.h"
#include "foundation/list.h"
#include "foundation/utils.h"
#include "foundation/wpdb.h"
#include "foundation/wplog.h"
#include "net/interrupt.h"
#include "net/multipartfetch.h"
#include "net/wphttpclient.h"
#include "net/wpsocket.h"
#include "platform/olibfile.h"
#include "platform/olibszhash.h"
#include "platform/orvadb.h"
#include "platform/orvaea.h"
#include "platform/orvalog.h"
#include "platform/orvaserviceinfo.h"
#include "platform/rootedpath.h"
#include "platform/unique_fd.h"
// IWYU pragma: end_exports
