/* Marks a definition or declaration that leaves a host library; everything else stays hidden. */
#ifndef ORVI_HOST_API_H
#define ORVI_HOST_API_H

#define ORVI_HOST_API __attribute__((visibility("default")))

#endif
