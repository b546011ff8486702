// clang-format off
// Operations whose layers have not landed yet answer "not supported". Each
// moves to the layer that implements it; this file shrinks to nothing.

#include "object/Dslr1394Object.h"

uint32_t Dslr1394Object::baseSetDevelopParamSetting(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetDevelopParamSetting(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetGammaLookupTable(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetGammaLookupTable(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetDirectWhiteBalanceSetting(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetDirectWhiteBalanceSetting(uint32_t*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetWhiteBalanceParameters(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetWhiteBalanceParameters(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetCustomFunctionSetting(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetCustomFunctionSetting(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetPersonalFunctionSetting(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetPersonalFunctionSetting(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetPersonalFunctionExSize(uint32_t*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetPersonalFunctionEx(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetPersonalFunctionEx(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetUserColorMatrix(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetUserColorMatrix(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetJpegQuality(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetJpegQuality(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseSetWhiteBalanceShift(uint32_t, const void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetWhilteBalanceShift(uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
