#pragma once
// C entry points of libTamsorPurFP.so for hosts that are not Qt programs.
// Every call returns an HRESULT (0 = S_OK). Strings are UTF-8; Boolean
// results are "0" (false) and "-1" (true).
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PURFP_S_OK 0
#define PURFP_DISP_E_MEMBERNOTFOUND ((int32_t)0x80020003)
#define PURFP_DISP_E_UNKNOWNNAME ((int32_t)0x80020006)
#define PURFP_E_INVALIDARG ((int32_t)0x80070057)
#define PURFP_E_FAIL ((int32_t)0x80004005)
#define PURFP_CLASS_E_CLASSNOTAVAILABLE ((int32_t)0x80040111)

#define PURFP_DISPATCH_METHOD 1
#define PURFP_DISPATCH_PROPERTYGET 2
#define PURFP_DISPATCH_PROPERTYPUT 4

// Creates "clsCGIn" and runs its start-up; on failure `text` holds the error.
int32_t TamsorPurFP_CreateInstance(const char *className, void **instance, char *text, int32_t textSize);
// Member names are compared without regard to case.
int32_t TamsorPurFP_GetIDsOfNames(void *instance, const char *memberName, int32_t *dispId);
// `argument`: the value to put, the method's string parameter, or NULL.
// `text`: the property's value, the method's declared result, or the error.
int32_t TamsorPurFP_Invoke(void *instance, int32_t dispId, int32_t invokeKind, const char *argument, char *text, int32_t textSize);
void TamsorPurFP_Release(void *instance);

#ifdef __cplusplus
}
#endif
