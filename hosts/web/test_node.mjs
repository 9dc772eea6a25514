// The module and its JavaScript in node: node test_node.mjs SITE LIBRARY.so HEADER
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { createHash } from "node:crypto";
import { mkdtempSync, readFileSync, readdirSync, rmSync } from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import path from "node:path";
import test from "node:test";
import { pathToFileURL } from "node:url";

const [site, library, header] = process.argv.slice(2).map((name) => path.resolve(name));
const siteUrl = (name) => pathToFileURL(path.join(site, name));
const { load } = await import(siteUrl("qxpixlib.mjs"));
const { selfTest, noise } = await import(siteUrl("selftest.mjs"));
const { explain, plainLoop } = await import(siteUrl("formulas.mjs"));
const wasm = readFileSync(path.join(site, "qxpixlib.wasm"));
const hashes = readFileSync(path.join(site, "hashes.txt"), "utf8");
const qx = await load();

const noisy = (length, seed) => {
    const bytes = new Uint8Array(length);
    noise(bytes, seed);
    return bytes;
};
const picture = (width, height, seed) => ({ width, height, data: noisy(4 * width * height, seed) });

test("the module imports nothing and exports the header's names, its memory and where that is free", () => {
    const names = [...readFileSync(header, "utf8").matchAll(/^QX_API .*\b(qx_\w+)\(/gm)].map((match) => match[1]);
    const module = new WebAssembly.Module(wasm);
    assert.equal(names.length, 29);
    assert.deepEqual(WebAssembly.Module.imports(module), []);
    assert.deepEqual(WebAssembly.Module.exports(module).map((one) => one.name).sort(), [...names, "__heap_base", "memory"].sort());
});

test("the hashes of all platforms", () => {
    assert.deepEqual(selfTest(qx, hashes), { total: 29, failed: [] });
    // And the self-test sees a byte that differs, and a name that is missing on either side.
    const wrong = hashes.replace(/(qx_alpha .)./, "$1x").replace("qx_mask ", "qx_mast ");
    assert.deepEqual(selfTest(qx, wrong).failed.sort(), ["qx_alpha", "qx_mask", "qx_mast"]);
});

test("random calls give the Linux library's bytes, and touch no other", () => {
    const calls = execFileSync("python3", [new URL("linux_calls.py", import.meta.url).pathname, library, "3000", "1"],
                               { maxBuffer: 1e8, encoding: "utf8" });
    const [first, ...rest] = calls.trim().split("\n").map((line) => JSON.parse(line));
    const start = Buffer.from(first, "base64"), arena = qx.keep(start), seen = new Set();
    for (const [name, args, hash] of rest) {
        arena.data.set(start);
        qx.exports[name](...args.map((arg) => (Array.isArray(arg) ? arena.address + arg[0] : arg)));
        assert.equal(createHash("sha256").update(arena.data).digest("hex"), hash, `${name}(${JSON.stringify(args)})`);
        seen.add(name);
    }
    assert.equal(seen.size, 27);
    arena.free();
});

test("every pair of alphas through the division of qx_sblend", () => {
    // Against whole numbers: the module's own reciprocal is a float's.
    const bg = new Uint8Array(4 * 65536), fg = new Uint8Array(4 * 65536), dst = new Uint8Array(4 * 65536);
    for (let i = 0; i < 65536; ++i) {
        bg.set([0, 200, 255, i >> 8], 4 * i);
        fg.set([255, 100, 0, i & 255], 4 * i);
    }
    qx.sblend(dst, bg, fg);
    for (let i = 0; i < 65536; ++i) {
        const w = i & 255, alpha = w + (((i >> 8) * (255 - w)) >> 8);
        const share = alpha === 0 ? 0 : (Math.floor(65535 / alpha) * w) >> 8;
        const want = [0, 1, 2].map((c) => bg[4 * i + c] + ((share * (fg[4 * i + c] - bg[4 * i + c])) >> 8));
        assert.deepEqual([...dst.subarray(4 * i, 4 * i + 4)], [...want, alpha], `alphas ${i >> 8} and ${w}`);
    }
});

// What a method has to give: the C function on a copy of everything, row by row or at once.
function expected(name, dst, ...args) {
    const kept = [dst, ...args].map((arg) => (typeof arg === "number" ? { address: arg, free() {} } : qx.keep(arg)));
    qx.exports[name](...kept.map((one) => one.address));
    const result = new Uint8Array(kept[0].data);
    for (const one of kept) one.free();
    return result;
}

test("every method reaches its function with its arguments in place", () => {
    const [dst, a, b] = [7, 8, 9].map((seed) => noisy(4 * 44, seed)), mask = noisy(44, 10), table = noisy(256, 11);
    const check = (name, call, ...args) => {
        const got = new Uint8Array(dst);
        call(got);
        assert.deepEqual(got, expected(`qx_${name}`, dst, ...args), name);
    };
    for (const family of ["blend", "lblend", "sblend"]) {
        check(family, (to) => qx[family](to, a, b), a, b, 44);
        check(`${family}_t`, (to) => qx[family](to, a, b, { opacity: 99 }), a, b, 44, 99);
        check(`${family}_m`, (to) => qx[family](to, a, b, { mask }), a, b, 44, mask);
        check(`${family}_mt`, (to) => qx[family](to, a, b, { mask, opacity: 0 }), a, b, 44, mask, 0);
        check(`${family}_mlt`, (to) => qx[family](to, a, b, { mask, table }), a, b, 44, mask, table, 256);
    }
    check("fill", (to) => qx.fill(to, 0xfedcba98), 0xfedcba98, 44);
    for (const name of ["argb2ayuv", "ayuv2argb", "alpha"]) check(name, (to) => qx[name](to, a), a, 44);
    check("mask", (to) => qx.mask(to, a, mask), a, mask, 44);
    check("lin_pix", (to) => qx.lin_pix(to, a, b, 77), a, b, 77, 44);
    check("zoom_in2x1d", (to) => qx.zoom_in2x1d(to, a.subarray(0, 88)), a, 22);
    const rows = (data, width, height) => ({ width, height, data: data.subarray(0, 4 * width * height) });
    check("zoom_in2x2d", (to) => qx.zoom_in2x2d(rows(to, 22, 2), rows(a, 11, 1)), a, 11, 1, 11);
    check("scale_1d", (to) => qx.scale_1d(to.subarray(0, 42 * 4), a.subarray(0, 80)), 42, a, 20);
    check("scale_horz", (to) => qx.scale_horz(rows(to, 22, 2), rows(a, 7, 2)), 22, 22, a, 7, 2, 7);
    check("zoom_outNx", (to) => qx.zoom_outNx(rows(to, 4, 2), rows(a, 11, 4)), 4, 2, a, 11, 4);
    check("v210yuv422p10", (to) => qx.v210yuv422p10(new Uint16Array(to.buffer), b.subarray(0, 128)), b, 44);
});

test("a picture goes row by row and an array is one line, which differ where a row's width leaves 2 by 4", () => {
    const bg = picture(6, 3, 1), fg = picture(6, 3, 2), mask = noisy(18, 3), rows = new Uint8Array(72);
    for (let y = 0; y < 3; ++y)
        qx.sblend(rows.subarray(24 * y, 24 * y + 24), bg.data.subarray(24 * y, 24 * y + 24),
                  fg.data.subarray(24 * y, 24 * y + 24), { mask: mask.subarray(6 * y, 6 * y + 6) });
    const dst = picture(6, 3, 4), line = new Uint8Array(72);
    qx.sblend(dst, bg, fg, { mask });
    assert.deepEqual(dst.data, rows);
    qx.sblend(line, bg.data, fg.data, { mask });
    assert.notDeepEqual(line, rows);
});

test("dst may be an input; kept pictures are worked on in place, and outlive the memory's growth", () => {
    const bg = picture(5, 4, 1), fg = picture(5, 4, 2), want = new Uint8ClampedArray(80);
    qx.lblend({ ...bg, data: want }, bg, fg);
    const keptBg = qx.keep(bg), keptFg = qx.keep(fg), before = qx.exports.memory.buffer;
    qx.lblend(keptBg, keptBg, keptFg);
    const large = qx.keep(new Uint8Array(5e6));
    assert.notEqual(qx.exports.memory.buffer, before);
    assert.deepEqual(keptBg.data, want);
    const after = qx.exports.memory.buffer.byteLength;
    qx.alpha(large, large);
    assert.equal(qx.exports.memory.buffer.byteLength, after);  // no copy
    qx.lblend(bg, bg, fg);
    assert.deepEqual(new Uint8ClampedArray(bg.data), want);
    for (const one of [keptBg, keptFg, large]) one.free();
    assert.throws(() => qx.alpha(fg, keptBg), /freed/);
    keptBg.free();  // twice is once
});

test("a million calls, and errors, take no memory", () => {
    const dst = new Uint8Array(16), bg = noisy(16, 1), size = () => qx.exports.memory.buffer.byteLength, before = size();
    for (let i = 0; i < 1e6; ++i) {
        qx.sblend(dst, bg, dst);
        if (i % 1e4 === 0) assert.equal(size(), before);
    }
    for (let i = 0; i < 1000; ++i) assert.throws(() => qx.sblend(dst, bg, dst, { mask: new Uint8Array(3) }), RangeError);
    for (let i = 0; i < 1000; ++i) qx.keep(new Uint8Array(1e6)).free();
    assert.equal(size(), before);
});

test("what does not fit is refused, and nothing written", async () => {
    const line = noisy(16, 1), same = new Uint8Array(line), short = new Uint8Array(12), odd = new Uint8Array(15);
    const tall = (width, height) => ({ width, height, data: new Uint8Array(4 * width * height) });
    for (const [call, error, words] of [
        [() => qx.blend(line, line, short), RangeError, /fg has 3 x 1 pixels, dst 4 x 1/],
        [() => qx.blend(odd, odd, odd), RangeError, /15 bytes/],
        [() => qx.blend(line, line, [1, 2, 3, 4]), TypeError, /fg is to be/],
        [() => qx.blend(line, line, line, { opacity: 257 }), RangeError, /opacity.*0 to 256/],
        [() => qx.blend(line, line, line, { opacity: 0.5 }), RangeError, /whole number/],
        [() => qx.blend(line, line, line, { mask: line }), RangeError, /mask has 16 bytes, not 4/],
        [() => qx.blend(line, line, line, { table: new Uint8Array(256) }), TypeError, /without a mask/],
        [() => qx.fill(line, -1), RangeError, /value/],
        [() => qx.lin_pix(line, line, line), RangeError, /weight/],
        [() => qx.zoom_in2x1d(line, line), TypeError, /dst may not be src/],
        [() => qx.zoom_in2x1d(line, short), RangeError, /doubled/],
        [() => qx.scale_1d(line, tall(2, 2)), RangeError, /one line/],
        [() => qx.scale_horz(tall(4, 2), tall(4, 3)), RangeError, /4 x 3/],
        [() => qx.zoom_outNx(tall(4, 1), tall(5, 1)), RangeError, /do not fill/],
        [() => qx.v210yuv422p10(new Uint16Array(12), new Uint8Array(15)), RangeError, /not 16/],
        [() => qx.v210yuv422p10(new Uint16Array(6), new Uint8Array(16)), TypeError, /even number/],
    ]) assert.throws(call, (thrown) => thrown instanceof error && words.test(thrown.message), String(call));
    assert.deepEqual(line, same);
    await assert.rejects(load(new Uint8Array([0, 97, 115, 109])), /cannot run qxpixlib.wasm/);
});

test("a server that knows no .wasm will do; one that has none is said to", async () => {
    const server = createServer((request, answer) => {
        answer.writeHead(request.url === "/x.wasm" ? 200 : 404, { "Content-Type": "text/plain" });
        answer.end(wasm);
    });
    await new Promise((ready) => server.listen(0, "127.0.0.1", ready));
    const at = (name) => new URL(`http://127.0.0.1:${server.address().port}/${name}`);
    try {
        const other = await load(at("x.wasm"));
        const dst = new Uint8Array(4);
        other.fill(dst, 0x04030201);
        assert.deepEqual([...dst], [1, 2, 3, 4]);
        await assert.rejects(load(at("y.wasm")), /404/);
    } finally {
        server.close();
    }
});

// All variants of all families, as [name, options].
const variants = ["blend", "lblend", "sblend"].flatMap((family) => [
    {}, { opacity: 200 }, { mask: true }, { mask: true, opacity: 200 }, { mask: true, table: true, opacity: 200 },
].map((options) => [family, options]));

test("the page's plain loops and explanations are the library's arithmetic", () => {
    const count = 998, [bg, fg] = [noisy(4 * count, 1), noisy(4 * count, 2)], mask = noisy(count, 3), table = noisy(256, 4);
    for (let i = 3; i < 400; i += 4) [bg, fg][(i >> 2) & 1][i] = i & 16 ? 0 : 255;
    for (const [family, { opacity, ...has }] of variants) {
        const options = { opacity, mask: has.mask && mask, table: has.table && table };
        const want = new Uint8Array(4 * count), got = new Uint8Array(4 * count);
        qx[family](want, bg, fg, options);
        plainLoop(family, got, bg, fg, { opacity, mask: has.mask ? mask : null, table: has.table ? table : null }, 0, count);
        assert.deepEqual(got, want, family);
        for (let i = 0; i < count; ++i) {
            const four = (px, at) => [...px.subarray(4 * at, 4 * at + 4)];
            const { result } = explain(family, four(bg, i), four(fg, i === count - 2 ? i + 1 : i),
                                       { opacity: opacity ?? null, m: has.mask ? mask[i] : null, table: options.table });
            assert.deepEqual(result, four(want, i), `${family} ${i}`);
        }
    }
});

test("npm's package, unpacked, works by its name", async (t) => {
    try {
        execFileSync("npm", ["--version"], { stdio: "ignore" });
    } catch {
        return t.skip("npm is not installed");
    }
    const folder = mkdtempSync(path.join(tmpdir(), "qxpixlib-"));
    try {
        execFileSync("npm", ["pack", "--silent", "--offline", "--pack-destination", folder], { cwd: site });
        const [file] = readdirSync(folder);
        execFileSync("sh", ["-c", `mkdir -p node_modules && tar -xzf ${file} && mv package node_modules/qxpixlib`], { cwd: folder });
        assert.deepEqual(readdirSync(path.join(folder, "node_modules/qxpixlib")).sort(),
                         ["LICENSE", "README.md", "package.json", "qxpixlib.d.ts", "qxpixlib.mjs", "qxpixlib.wasm"]);
        const program = `import { load } from "qxpixlib"; const p = new Uint8Array(4); (await load()).fill(p, 7); console.log(p[0]);`;
        assert.equal(execFileSync("node", ["--input-type=module", "-e", program], { cwd: folder, encoding: "utf8" }), "7\n");
    } finally {
        rmSync(folder, { recursive: true });
    }
});
