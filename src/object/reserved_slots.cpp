// clang-format off
// Slots the host's interface reserves. Each keeps its own slot and removes
// its own arguments; none is supported, and none logs.

#include "object/Dslr1394Object.h"

uint32_t Dslr1394Object::baseReserved03(uint32_t, uint32_t, uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved04(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved06(uint32_t, uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved11(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved21(uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved34(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved52(uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved53(uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved65() { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved66() { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved67() { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved68(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved69(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved70(uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved71(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved72(uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved73(uint32_t, uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved74(uint32_t, uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved75(uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved76(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved77(uint32_t, uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved78(uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
uint32_t Dslr1394Object::baseReserved79(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) { return vkRNERROR_NOT_SUPPORTED; }
