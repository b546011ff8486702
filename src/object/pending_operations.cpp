// clang-format off
// Operations whose layers have not landed yet answer "not supported". Each
// moves to the layer that implements it; this file shrinks to nothing.

#include "object/Dslr1394Object.h"

uint32_t Dslr1394Object::baseSetUILock(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseResetUILock(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseGetRemoteAPIVersion(uint32_t*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReleaseControlEx(uint32_t, uint32_t, const void*, uint32_t, void*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReleaseControlGetReleasedData(uint32_t, uint32_t, uint32_t*) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseDslrResetTransfer(uint16_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::dsl1394MessageTxRx(const void*, uint32_t, void*, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::dsl1394MessageTx(const void*, uint32_t, uint32_t*) { return vkRNERROR_NOT_SUPPORTED; }
