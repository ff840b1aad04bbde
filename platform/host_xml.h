/* Host framework: the XML node parser and the well-formedness test. */
#ifndef OSTRA_HOST_XML_H
#define OSTRA_HOST_XML_H

#include <stdint.h>
#include "host_util.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ncAttr {
    const char *name;
    const char *value;
} ncAttr;

typedef struct ncElement {
    const char *name;
    const char *value;
    uList *attrs;
    uList *children;
    struct ncElement *parent;
} ncElement;

typedef struct ncContext {
    int32_t reserved[5];
    int32_t option;
    const char *name;
    ncElement *root;
    void *impl;
} ncContext;

ncContext  *ncCreatePrivate(const char *name);
int         ncParseFromBuf(ncContext *ctx, const char *text, int options);
ncElement  *ncGetElementByName(ncContext *ctx, const char *path);
ncElement  *ncSearchElement(ncElement *element, const char *path);
const char *ncGetElementValue(const ncElement *element);
const char *ncGetElementAttr(const ncElement *element, const char *name);
void        ncDestroy(ncContext *ctx);

typedef struct uXmlParseState { int32_t word[8]; } uXmlParseState;
typedef void (*uXmlTagFunc)(void *user, const char *name);
int uXmlParseFromBuf(const char *text, int length, uXmlParseState *state,
                     uXmlTagFunc onStart, uXmlTagFunc onEnd, void *user);

#ifdef __cplusplus
}
#endif
#endif
