// Nanoseconds a pixel in node, the best of 40 rounds: the module, the same without SIMD, and the page's plain loops,
// which take turns. node bench_node.mjs SITE SCALAR.wasm
import { readFileSync } from "node:fs";
import path from "node:path";
import { pathToFileURL } from "node:url";

const [site, scalarFile] = process.argv.slice(2).map((name) => path.resolve(name));
const { noise } = await import(pathToFileURL(path.join(site, "selftest.mjs")));
const { plainLoop } = await import(pathToFileURL(path.join(site, "formulas.mjs")));

const noisy = (length, seed) => {
    const bytes = new Uint8Array(length);
    noise(bytes, seed);
    return bytes;
};

const variants = ["blend", "lblend", "sblend"].flatMap((family) => [
    {}, { opacity: 200 }, { mask: true }, { mask: true, opacity: 200 }, { mask: true, table: true, opacity: 200 },
].map((options) => [family, options]));

const count = 1920, size = 4 * count, fastest = { vectors: {}, scalar: {}, loop: {} };
const loaded = (file) => {
    const { exports } = new WebAssembly.Instance(new WebAssembly.Module(readFileSync(file)));
    const at = exports.__heap_base.value;
    exports.memory.grow(8);
    noise(new Uint8Array(exports.memory.buffer, at, 6 * size), 1);
    return { exports, dst: at, bg: at + size, fg: at + 2 * size, mask: at + 3 * size, table: at + 4 * size };
};
const modules = { vectors: loaded(path.join(site, "qxpixlib.wasm")), scalar: loaded(scalarFile) };
const [dst, bg, fg] = [noisy(size, 1), noisy(size, 2), noisy(size, 3)], mask = noisy(count, 4), table = noisy(256, 5);
const cases = variants.map(([family, { opacity, ...has }]) => {
    const name = `${family} ${has.mask ? "m" : ""}${has.table ? "l" : ""}${opacity ? "t" : ""}`.trim().replace(" ", "_");
    const options = { opacity, mask: has.mask ? mask : null, table: has.table ? table : null };
    return [name, (m) => {
        const rest = [...(has.mask ? [m.mask] : []), ...(has.table ? [m.table] : []), ...(opacity ? [opacity] : [])];
        return () => m.exports[`qx_${name}`](m.dst, m.bg, m.fg, count, ...rest);
    }, () => plainLoop(family, dst, bg, fg, options, 0, count)];
});
for (const name of ["argb2ayuv", "ayuv2argb", "v210yuv422p10"])
    cases.push([name, (m) => () => m.exports[`qx_${name}`](m.dst, m.bg, count), null]);
for (const [name, call, loop] of cases) {
    const actions = { vectors: call(modules.vectors), scalar: call(modules.scalar), ...(loop && { loop }) };
    for (let round = 0; round < 40; ++round)
        for (const [kind, action] of Object.entries(actions)) {
            const times = 20, start = process.hrtime.bigint();
            for (let k = 0; k < times; ++k) action();
            const ns = Number(process.hrtime.bigint() - start) / times / count;
            fastest[kind][name] = Math.min(fastest[kind][name] ?? Infinity, ns);
        }
    const [vectors, scalar, plain] = ["vectors", "scalar", "loop"].map((kind) => fastest[kind][name]);
    const inJavaScript = plain ? `, JavaScript ${plain.toFixed(2)}` : "";
    console.log(`${name.padEnd(14)} ${vectors.toFixed(2)} ns a pixel, scalar ${scalar.toFixed(2)}${inJavaScript}`);
}
