// Columns of numbers as the page holds them: base64 of deflated bytes, the lowest bytes of all numbers first.
'use strict';

/** The bytes of an element's base64 text, inflated. */
async function inflated(id) {
  const text = document.getElementById(id).textContent;
  let packed;
  if (Uint8Array.fromBase64) {
    packed = Uint8Array.fromBase64(text);
  } else {
    const binary = atob(text);
    packed = new Uint8Array(binary.length);
    for (let i = 0; i < binary.length; ++i) packed[i] = binary.charCodeAt(i);
  }
  const stream = new DecompressionStream('deflate');
  const writer = stream.writable.getWriter();
  writer.write(packed).catch(() => {});  // a fault is seen where it is read
  writer.close().catch(() => {});
  const pieces = [];
  let size = 0;
  const reader = stream.readable.getReader();
  for (;;) {
    const { done, value } = await reader.read();
    if (done) break;
    pieces.push(value);
    size += value.length;
  }
  const bytes = new Uint8Array(size);
  let place = 0;
  for (const piece of pieces) {
    bytes.set(piece, place);
    place += piece.length;
  }
  return bytes;
}

/** Numbers that a double holds exactly. */
function narrow_numbers(bytes, count, column) {
  const numbers = new Float64Array(count);
  for (let plane = column.width - 1; plane >= 0; --plane) {
    const start = plane * count;
    for (let i = 0; i < count; ++i) numbers[i] = numbers[i] * 256 + bytes[start + i];
  }
  const first = Number(column.first);
  if (!column.steps) {
    if (first !== 0) for (let i = 0; i < count; ++i) numbers[i] += first;
    return numbers;
  }
  let before = first;
  for (let i = 0; i < count; ++i) {
    const folded = numbers[i];
    const half = Math.floor(folded / 2);
    before += folded - 2 * half === 0 ? half : -half - 1;
    numbers[i] = before;
  }
  return numbers;
}

/** Numbers of 64 bits. */
function wide_numbers(bytes, count, column) {
  const numbers = column.unsigned ? new BigUint64Array(count) : new BigInt64Array(count);
  let before = BigInt(column.first);
  const first = before;
  for (let i = 0; i < count; ++i) {
    let number = 0n;
    for (let plane = column.width - 1; plane >= 0; --plane) number = number << 8n | BigInt(bytes[plane * count + i]);
    if (column.steps) {
      before += number & 1n ? -(number >> 1n) - 1n : number >> 1n;
      numbers[i] = before;
    } else {
      numbers[i] = first + number;
    }
  }
  return numbers;  // the arrays keep the low 64 bits, which is what the differences were made of
}

/** One column: its numbers, and which of them are known. */
class Column {
  constructor(numbers, known) {
    this.numbers = numbers;
    this.mask = known;
  }

  known(frame) {
    return frame < this.numbers.length && (this.mask === null || this.mask[frame] !== 0);
  }

  /** The number as a double; NaN where it is not known. */
  at(frame) {
    return this.known(frame) ? Number(this.numbers[frame]) : NaN;
  }

  /** The exact number as text; empty where it is not known. */
  text(frame) {
    return this.known(frame) ? String(this.numbers[frame]) : '';
  }

  /** All numbers as doubles, NaN where they are not known. */
  doubles() {
    if (this.mask === null && this.numbers instanceof Float64Array) return this.numbers;
    const result = new Float64Array(this.numbers.length);
    for (let i = 0; i < result.length; ++i) result[i] = this.at(i);
    return result;
  }
}

async function unpacked_column(description, count) {
  const bytes = await inflated(description.data);
  const known = description.known ? await inflated(description.known) : null;
  const unpack = description.wide ? wide_numbers : narrow_numbers;
  return new Column(unpack(bytes, count, description), known);
}
