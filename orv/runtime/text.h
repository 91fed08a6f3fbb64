/* The fixed-capacity text of the exported trace globals. */
#ifndef ORV_RUNTIME_TEXT_H
#define ORV_RUNTIME_TEXT_H

/* Up to 255 bytes and a NUL, and the number of bytes before the NUL. */
typedef struct ORV_text {
    char text[256];
    unsigned long length;
} ORV_text;

#endif
