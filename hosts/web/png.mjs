// Pictures from files, in R, G, B, A. A browser multiplies colours by alpha when it decodes to a canvas, so PNG of 8-bit
// RGB and RGBA is decoded here; what comes through the browser says what that cost.

const MOST_PIXELS = 1 << 24;

const limited = (width, height) => {
    if (width * height === 0 || width * height > MOST_PIXELS)
        throw new Error(`The picture has ${width} × ${height} pixels; this page takes up to 16 million.`);
};

async function inflate(parts) {
    const stream = new Blob(parts).stream().pipeThrough(new DecompressionStream("deflate"));
    return new Uint8Array(await new Response(stream).arrayBuffer());
}

// Undoes the filters of a PNG's rows, each of which says in a byte which one it has.
function unfilter(raw, width, height, channels) {
    const pitch = width * channels, out = new Uint8Array(pitch * height);
    for (let y = 0; y < height; ++y) {
        const filter = raw[y * (pitch + 1)], from = y * (pitch + 1) + 1, at = y * pitch;
        for (let x = 0; x < pitch; ++x) {
            const left = x < channels ? 0 : out[at + x - channels], up = y === 0 ? 0 : out[at + x - pitch];
            let guess = [0, left, up, (left + up) >> 1][filter];
            if (filter === 4) {  // whichever of the three is nearest to left + up - corner
                const corner = x < channels || y === 0 ? 0 : out[at + x - pitch - channels];
                const toLeft = Math.abs(up - corner), toUp = Math.abs(left - corner);
                const toCorner = Math.abs(left + up - 2 * corner);
                guess = toLeft <= toUp && toLeft <= toCorner ? left : toUp <= toCorner ? up : corner;
            }
            out[at + x] = raw[from + x] + guess;
        }
    }
    return out;
}

// The picture of a PNG of 8-bit RGB or RGBA without interlacing, or null where it is another one.
export async function decodePng(bytes) {
    const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.length);
    if (bytes.length < 33 || view.getUint32(0) !== 0x89504e47 || view.getUint32(4) !== 0x0d0a1a0a) return null;
    const width = view.getUint32(16), height = view.getUint32(20), channels = { 2: 3, 6: 4 }[bytes[25]];
    if (bytes[24] !== 8 || !channels || bytes[28] !== 0) return null;
    limited(width, height);
    const parts = [];
    for (let at = 8; at + 12 <= bytes.length; at += 12 + view.getUint32(at)) {
        const kind = String.fromCharCode(...bytes.subarray(at + 4, at + 8));
        if (kind === "tRNS") return null;
        if (kind === "IDAT") parts.push(bytes.subarray(at + 8, at + 8 + view.getUint32(at)));
    }
    const raw = await inflate(parts);
    if (raw.length !== height * (width * channels + 1)) throw new Error("The PNG's data do not fill its rows.");
    const rows = unfilter(raw, width, height, channels);
    if (channels === 4) return { width, height, data: rows };
    const data = new Uint8Array(4 * width * height).fill(255);
    for (let i = 0; i < width * height; ++i) data.set(rows.subarray(3 * i, 3 * i + 3), 4 * i);
    return { width, height, data };
}

// { width, height, data, note }, where note says what was lost.
export async function pictureOf(file) {
    const bytes = new Uint8Array(await file.arrayBuffer());
    let picture;
    try {
        picture = await decodePng(bytes);
    } catch (error) {
        const reason = error instanceof TypeError ? "Its data are damaged." : error.message;
        throw new Error(`${file.name} is no whole PNG. ${reason}`);
    }
    if (picture) return { ...picture, note: "" };
    const bitmap = await createImageBitmap(file).catch(() => {
        throw new Error(`${file.name} is no picture that this browser can read.`);
    });
    limited(bitmap.width, bitmap.height);
    const context = new OffscreenCanvas(bitmap.width, bitmap.height).getContext("2d", { willReadFrequently: true });
    context.drawImage(bitmap, 0, 0);
    const { width, height, data } = context.getImageData(0, 0, bitmap.width, bitmap.height);
    let lossy = 0;
    for (let i = 3; i < data.length; i += 4) if (data[i] < 255) ++lossy;
    const note = lossy === 0 ? ""
        : `${file.name}: the browser multiplied ${lossy} translucent pixels by their alpha and back; their `
        + " colours are not quite the file's. An 8-bit RGBA PNG without interlacing loses nothing.";
    return { width, height, data, note };
}
