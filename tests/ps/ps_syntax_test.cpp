// ps_data() as an encoder writes it, read back: every part of the syntax,
// time deltas across frames and band counts, and damaged data refused
// without a read past its end.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ps/ps_syntax.h"
#include "sbr_tables_data.h"
#include "support/bit_writer.h"

namespace fxaac::ps {
namespace {

using fxaac_test::BitWriter;

void code(BitWriter &w, const char *book, int delta)
{
    const fxaac_test::SbrCodebook &b = fxaac_test::sbr_ps_tables().books.at(book);
    for (char c : b.codes.at(static_cast<size_t>(delta + b.lav)))
        w.put(c == '1', 1);
}

// One envelope of values: dt, then deltas against prev (dt) or the band below.
void values(BitWriter &w, const char *f, const char *t, bool dt, const std::vector<int> &v,
            const std::vector<int> &prev = {}, bool phase = false)
{
    w.put(dt, 1);
    for (size_t b = 0; b < v.size(); b++) {
        int d = dt ? v[b] - prev[b] : v[b] - (b > 0 ? v[b - 1] : 0);
        code(w, dt ? t : f, phase ? d & 7 : d);
    }
}

std::vector<int> ramp(int n, int from, int step, int mod = 0)
{
    std::vector<int> v(static_cast<size_t>(n));
    for (int b = 0; b < n; b++)
        v[static_cast<size_t>(b)] = from + (mod ? step * b % mod : step * b);
    return v;
}

struct Read {
    int32_t rc;
    PsFrame f;
};

Read read(PsSyntaxState *s, const BitWriter &w, size_t bits)
{
    std::vector<uint8_t> bytes = w.data(0);
    bytes.resize((bits + 7) / 8);  // exactly sized: a read past it is a fault
    BitCursor r;
    init_bounded(&r, bytes.data(), static_cast<int32_t>(bytes.size()));
    Read out{};
    out.rc = read_ps_data(&r, static_cast<int32_t>(bits), s, &out.f);
    return out;
}

// A first frame: header (iid 20 bands, icc 20 bands with R_B, extension),
// two fixed envelopes, ipd/opd in the extension and an unknown extension.
BitWriter first_frame(const std::vector<int> &iid, const std::vector<int> &icc,
                      const std::vector<int> &ipd)
{
    BitWriter w;
    w.put(1, 1).put(1, 1).put(1, 3).put(1, 1).put(4, 3).put(1, 1);  // header
    w.put(0, 1).put(2, 2);                                          // FIX, 2 envelopes
    for (int e = 0; e < 2; e++)
        values(w, "ps_iid_def_f", "ps_iid_def_t", e == 1, iid, iid);
    for (int e = 0; e < 2; e++)
        values(w, "ps_icc_f", "ps_icc_t", false, icc);
    BitWriter ext;
    ext.put(0, 2).put(1, 1);  // ps_extension_id 0, enable_ipdopd
    for (int e = 0; e < 2; e++) {
        values(ext, "ps_ipd_f", "ps_ipd_t", false, ipd, {}, true);
        values(ext, "ps_opd_f", "ps_opd_t", e == 1, ipd, ipd, true);
    }
    ext.put(0, 1).put(3, 2).put(0x2a, 6);  // reserved_ps; an unknown extension
    const size_t bytes = (ext.bit_count() + 7) / 8;
    w.put(static_cast<uint32_t>(bytes < 15 ? bytes : 15), 4);
    if (bytes >= 15)
        w.put(static_cast<uint32_t>(bytes - 15), 8);
    std::vector<uint8_t> e = ext.data(0);
    for (size_t i = 0; i < bytes; i++)
        w.put(e[i], 8);
    return w;
}

TEST(PsSyntax, ReadsEveryPartAndCarriesValuesAcrossFrames)
{
    PsSyntaxState s;
    reset_ps_syntax(&s);
    const std::vector<int> iid = ramp(20, -7, 1, 15), icc = ramp(20, 0, 1, 8),
                           ipd = ramp(11, 0, 3, 8);
    BitWriter w = first_frame(iid, icc, ipd);
    Read a = read(&s, w, w.bit_count());
    ASSERT_EQ(a.rc, 0);
    EXPECT_EQ(a.f.numEnv, 2);
    EXPECT_EQ(a.f.border[0], 15);
    EXPECT_EQ(a.f.border[1], 31);
    EXPECT_EQ(a.f.iidBands, 20);
    EXPECT_EQ(a.f.mixingB, 1);
    EXPECT_EQ(a.f.phaseBands, 11);
    for (int b = 0; b < 20; b++) {
        EXPECT_EQ(a.f.iid[1][b], iid[size_t(b)]);
        EXPECT_EQ(a.f.icc[0][b], icc[size_t(b)]);
    }
    for (int b = 0; b < 11; b++)
        EXPECT_EQ(a.f.opd[1][b], ipd[size_t(b)]);

    // No header; variable borders 5 and 20 (a third envelope is appended up
    // to slot 31); iid as time deltas from the last frame, no ipd.
    BitWriter v;
    v.put(0, 1).put(1, 1).put(1, 2).put(5, 5).put(20, 5);
    const std::vector<int> iid2 = ramp(20, -3, 0);
    values(v, "ps_iid_def_f", "ps_iid_def_t", true, iid2, iid);
    values(v, "ps_iid_def_f", "ps_iid_def_t", false, iid2);
    values(v, "ps_icc_f", "ps_icc_t", false, icc);
    values(v, "ps_icc_f", "ps_icc_t", true, icc, icc);
    v.put(1, 4).put(0, 2).put(0, 1).put(0, 5);  // extension: ipd/opd off
    Read b = read(&s, v, v.bit_count());
    ASSERT_EQ(b.rc, 0);
    EXPECT_EQ(b.f.numEnv, 3);
    EXPECT_EQ(b.f.border[2], 31);
    EXPECT_EQ(b.f.phaseBands, 0);
    EXPECT_EQ(b.f.iid[2][7], -3);

    // A new header: iid on 34 bands of the fine grid, icc off; time deltas
    // from the 20 bands before (mapped onto the 34).
    BitWriter x;
    x.put(1, 1).put(1, 1).put(5, 3).put(0, 1).put(0, 1).put(0, 1).put(1, 2);
    std::vector<int> prev34(34, -3), iid34 = ramp(34, -15, 1, 31);
    values(x, "ps_iid_fine_f", "ps_iid_fine_t", true, iid34, prev34);
    Read c = read(&s, x, x.bit_count());
    ASSERT_EQ(c.rc, 0);
    EXPECT_EQ(c.f.bands34, 1);
    EXPECT_EQ(c.f.fineIid, 1);
    EXPECT_EQ(c.f.iccBands, 34);
    for (int k = 0; k < 34; k++) {
        EXPECT_EQ(c.f.iid[0][k], iid34[size_t(k)]);
        EXPECT_EQ(c.f.icc[0][k], 0);
    }

    // FIX with num_env_idx 0: no new parameters.
    BitWriter h;
    h.put(0, 1).put(0, 1).put(0, 2);
    Read d = read(&s, h, h.bit_count());
    ASSERT_EQ(d.rc, 0);
    EXPECT_EQ(d.f.numEnv, 0);
}

TEST(PsSyntax, RefusesDamagedDataWithinItsBits)
{
    PsSyntaxState s;
    reset_ps_syntax(&s);
    BitWriter none;  // no header yet
    none.put(0, 1).put(0, 1).put(1, 2);
    EXPECT_EQ(read(&s, none, none.bit_count()).rc, kPsNoHeader);
    BitWriter reserved;
    reserved.put(1, 1).put(1, 1).put(6, 3).put(0, 1).put(0, 1).put(0, 1).put(0, 2);
    EXPECT_EQ(read(&s, reserved, reserved.bit_count()).rc, kPsReservedMode);
    EXPECT_EQ(s.headerSeen, 0);  // a refused frame leaves the state
    BitWriter falling;
    falling.put(1, 1).put(0, 1).put(0, 1).put(0, 1).put(1, 1).put(1, 2).put(9, 5).put(9, 5);
    EXPECT_EQ(read(&s, falling, falling.bit_count()).rc, kPsBorderOrder);
    BitWriter range;  // iid deltas of +4 climb past +7
    range.put(1, 1).put(1, 1).put(0, 3).put(0, 1).put(0, 1).put(0, 1).put(1, 2).put(0, 1);
    for (int b = 0; b < 10; b++)
        code(range, "ps_iid_def_f", 4);
    EXPECT_EQ(read(&s, range, range.bit_count()).rc, kPsRange);

    const BitWriter whole = first_frame(ramp(20, 0, 0), ramp(20, 1, 0), ramp(11, 2, 0));
    for (size_t cut = 0; cut < whole.bit_count(); cut++) {
        reset_ps_syntax(&s);
        EXPECT_LT(read(&s, whole, cut).rc, 0) << "cut at bit " << cut;
    }
}

}  // namespace
}  // namespace fxaac::ps
