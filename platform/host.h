/* The host framework that the module runs inside: every family of it. */
#ifndef OSTRA_HOST_H
#define OSTRA_HOST_H
#include "host_util.h"
#include "host_sem.h"
#include "host_pm.h"
#include "host_xml.h"
#include "host_time.h"
#include "host_net.h"
#include "host_config.h"
#include "host_log.h"
#endif
