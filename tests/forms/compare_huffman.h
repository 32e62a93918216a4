// Comparison of two forms of an entropy primitive, by signature. The decoders are fed scans with
// damage of all kinds; what counts for them is status and decoded values, since a form may read
// further ahead than another.
#ifndef QRX_TESTS_FORMS_COMPARE_HUFFMAN_H_
#define QRX_TESTS_FORMS_COMPARE_HUFFMAN_H_

#include "tests/forms/huffman_kit.h"

namespace entropy {

using GetSize = IppStatus (*)(int*);
void compare(GetSize form, GetSize reference);

using ListInit = IppStatus (*)(const int*, Ipp8u*, Ipp8u*);
void compare(ListInit form, ListInit reference);

using EncodeSpecInit = IppStatus (*)(const Ipp8u*, const Ipp8u*, IppiEncodeHuffmanSpec*);
void compare(EncodeSpecInit form, EncodeSpecInit reference);
using DecodeSpecInit = IppStatus (*)(const Ipp8u*, const Ipp8u*, IppiDecodeHuffmanSpec*);
void compare(DecodeSpecInit form, DecodeSpecInit reference);
using EncodeStateInit = IppStatus (*)(IppiEncodeHuffmanState*);
void compare(EncodeStateInit form, EncodeStateInit reference);
using DecodeStateInit = IppStatus (*)(IppiDecodeHuffmanState*);
void compare(DecodeStateInit form, DecodeStateInit reference);

using EncodeBlock = IppStatus (*)(const Ipp16s*, Ipp8u*, int, int*, Ipp16s*,
                                  const IppiEncodeHuffmanSpec*, const IppiEncodeHuffmanSpec*,
                                  IppiEncodeHuffmanState*, int);
void compare(EncodeBlock form, EncodeBlock reference);
using EncodeOne = IppStatus (*)(const Ipp16s*, Ipp8u*, int, int*, const IppiEncodeHuffmanSpec*,
                                IppiEncodeHuffmanState*, int);
void compare(EncodeOne form, EncodeOne reference);
using EncodeDcFirst = IppStatus (*)(const Ipp16s*, Ipp8u*, int, int*, Ipp16s*, int,
                                    const IppiEncodeHuffmanSpec*, IppiEncodeHuffmanState*, int);
void compare(EncodeDcFirst form, EncodeDcFirst reference);
using EncodeDcRefine = IppStatus (*)(const Ipp16s*, Ipp8u*, int, int*, int, IppiEncodeHuffmanState*,
                                     int);
void compare(EncodeDcRefine form, EncodeDcRefine reference);
using EncodeAc = IppStatus (*)(const Ipp16s*, Ipp8u*, int, int*, int, int, int,
                               const IppiEncodeHuffmanSpec*, IppiEncodeHuffmanState*, int);
void compare(EncodeAc form, EncodeAc reference);

using CountDc = IppStatus (*)(const Ipp16s*, int*, Ipp16s*, int);
void compare(CountDc form, CountDc reference);
using CountAc = IppStatus (*)(const Ipp16s*, int*, int, int, int, IppiEncodeHuffmanState*, int);
void compare(CountAc form, CountAc reference);

using DecodeBlock = IppStatus (*)(const Ipp8u*, int, int*, Ipp16s*, Ipp16s*, int*,
                                  const IppiDecodeHuffmanSpec*, const IppiDecodeHuffmanSpec*,
                                  IppiDecodeHuffmanState*);
void compare(DecodeBlock form, DecodeBlock reference);
using DecodeOne = IppStatus (*)(const Ipp8u*, int, int*, Ipp16s*, int*,
                                const IppiDecodeHuffmanSpec*, IppiDecodeHuffmanState*);
void compare(DecodeOne form, DecodeOne reference);
using DecodeDcFirst = IppStatus (*)(const Ipp8u*, int, int*, Ipp16s*, Ipp16s*, int*, int,
                                    const IppiDecodeHuffmanSpec*, IppiDecodeHuffmanState*);
void compare(DecodeDcFirst form, DecodeDcFirst reference);
using DecodeDcRefine = IppStatus (*)(const Ipp8u*, int, int*, Ipp16s*, int*, int,
                                     IppiDecodeHuffmanState*);
void compare(DecodeDcRefine form, DecodeDcRefine reference);
using DecodeAc = IppStatus (*)(const Ipp8u*, int, int*, Ipp16s*, int*, int, int, int,
                               const IppiDecodeHuffmanSpec*, IppiDecodeHuffmanState*);
void compare(DecodeAc form, DecodeAc reference);

}  // namespace entropy

#endif  // QRX_TESTS_FORMS_COMPARE_HUFFMAN_H_
