"use strict";

const none = 0xFFFFFFFF;
const kinds = { item: 0, chunk: 1, message: 2, damage: 3 };

/** Numbers in a typed array that grows. */
class Numbers {
    constructor(Type) {
        this.at = new Type(1 << 10);
        this.length = 0;
    }

    push(number) {
        if (this.length === this.at.length) {
            const larger = new this.at.constructor(2 * this.length);
            larger.set(this.at);
            this.at = larger;
        }
        this.at[this.length++] = number;
    }
}

/** Returns the last index from `low` to `high - 1` whose number is at most `most`, or `low - 1`. */
function lastAtMost(numbers, most, low, high) {
    while (low < high) {
        const middle = (low + high) >>> 1;
        if (numbers[middle] <= most) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low - 1;
}

function decodeBlocks(texts) {
    const blocks = texts.map((text) => atob(text));
    const bytes = new Uint8Array(blocks.reduce((sum, block) => sum + block.length, 0));
    let at = 0;
    for (const block of blocks) {
        for (let i = 0; i < block.length; ++i) bytes[at++] = block.charCodeAt(i);
    }
    return bytes;
}

/** The bytes, the rows and the messages of one input. */
class Capture {
    constructor(bytes, blocks) {
        this.bytes = bytes;
        this.blocks = blocks;
        this.firstOfBlock = [];
        this.isText = false;
        // The rows of the tree. `begin` and `end` count the bytes of the message of an item, and
        // the bytes of the input otherwise.
        this.kind = new Numbers(Uint8Array);
        this.depth = new Numbers(Uint16Array);
        this.begin = new Numbers(Uint32Array);
        this.end = new Numbers(Uint32Array);
        this.parent = new Numbers(Uint32Array);
        this.next = new Numbers(Uint32Array);
        this.members = new Numbers(Uint32Array);
        this.textAt = new Numbers(Uint32Array);
        // The segments of the input: a chunk, or a message of the wire form.
        this.place = new Numbers(Uint32Array);
        this.owner = new Numbers(Uint32Array);
        this.inMessage = new Numbers(Uint32Array);
        this.chunkRow = new Numbers(Uint32Array);
        this.messages = [];
        this.firstRows = [];
        this.damages = new Map();
        this.read();
    }

    get rows() {
        return this.kind.length;
    }

    read() {
        this.path = [];
        this.open = [];
        this.waiting = new Map();
        for (const [block, text] of this.blocks.entries()) {
            this.firstOfBlock.push(this.rows);
            this.readBlock(block, text);
        }
        this.closePath(0);
    }

    readBlock(block, text) {
        let at = text.indexOf("\n") + 1;
        const number = () => {
            let value = 0;
            let code = text.charCodeAt(at++);
            if (code === 45) {
                ++at;
                return none;
            }
            for (; code >= 48 && code <= 57; code = text.charCodeAt(at++)) {
                value = 10 * value + code - 48;
            }
            return value;
        };
        while (at < text.length) {
            const kind = text[at];
            at += 2;
            const first = number();
            if (kind === "r") {
                const begin = number();
                const name = number();
                this.addItem(first, begin, name, number(), at);
            } else if (kind === "e") {
                this.end.at[this.open.pop()] = first;
            } else if (kind === "x") {
                this.endRows(first);
                this.messages[this.messages.length - 1].endRow = this.rows;
            } else {
                this.readPlace(kind, first, at, block);
            }
            // A record without a text ends with its last number, which number() has read with the
            // line feed.
            at = kind === "e" || kind === "x" || kind === "w" || kind === "t"
                ? at : text.indexOf("\n", at) + 1;
        }
    }

    readPlace(kind, first, at, block) {
        const text = () => JSON.parse(this.lineAt(block, at));
        if (kind === "c") {
            this.addChunk(first, at, text());
        } else if (kind === "m") {
            this.addMessage(first, at);
        } else if (kind === "d") {
            this.damages.set(first, text());
            this.addRow(kinds.damage, 0, first, first + 1, at);
        } else {
            this.isText = this.isText || kind === "t";
            this.beginMessage(0, [this.addSegment(first, this.messages.length, 0, none)]);
        }
    }

    lineAt(block, at) {
        const text = this.blocks[block];
        return text.slice(at, text.indexOf("\n", at));
    }

    closePath(depth) {
        while (this.path.length > 0) {
            const row = this.path[this.path.length - 1];
            if (this.depth.at[row] < depth) break;
            this.next.at[row] = this.rows;
            this.path.pop();
        }
    }

    addRow(kind, depth, begin, end, textAt) {
        this.closePath(depth);
        const row = this.rows;
        const parent = this.path.length > 0 ? this.path[this.path.length - 1] : none;
        if (parent !== none) ++this.members.at[parent];
        this.path.push(row);
        this.kind.push(kind);
        this.depth.push(depth);
        this.begin.push(begin);
        this.end.push(end);
        this.parent.push(parent);
        this.next.push(row + 1);
        this.members.push(0);
        this.textAt.push(textAt);
        return row;
    }

    addItem(depth, begin, name, size, textAt) {
        const end = size === none ? none : begin + size;
        const row = this.addRow(kinds.item, depth + this.shift, begin, end, textAt);
        if (size === none) this.open.push(row);
    }

    endRows(end) {
        for (const row of this.open) this.end.at[row] = Math.max(end, this.begin.at[row]);
        this.open.length = 0;
    }

    addSegment(place, message, inMessage, chunkRow) {
        this.place.push(place);
        this.owner.push(message);
        this.inMessage.push(inMessage);
        this.chunkRow.push(chunkRow);
        return this.place.length - 1;
    }

    addChunk(place, textAt, error) {
        const header = this.headerAt(place);
        const end = Math.min(place + 8 + header.length, this.bytes.length);
        const row = this.addRow(kinds.chunk, 0, place, end, textAt);
        const segment = this.addSegment(place, none, 0, row);
        if (error !== "") {
            this.damages.set(place, error);
        } else if (this.waiting.has(header.sequence)) {
            this.waiting.get(header.sequence).push(segment);
        } else {
            this.waiting.set(header.sequence, [segment]);
        }
    }

    /** A message in chunks has ended: its bytes are the payloads of its chunks. */
    addMessage(sequence, textAt) {
        const segments = this.waiting.get(sequence) ?? [];
        this.waiting.delete(sequence);
        let size = 0;
        for (const segment of segments) {
            this.owner.at[segment] = this.messages.length;
            this.inMessage.at[segment] = size;
            size += this.payloadEnd(segment) - this.payloadOf(segment);
        }
        this.beginMessage(1, segments);
        this.addRow(kinds.message, 0, 0, size, textAt);
    }

    beginMessage(shift, segments) {
        this.shift = shift;
        this.firstRows.push(this.rows);
        this.messages.push({ segments, endRow: 0 });
    }

    headerAt(place) {
        const b = this.bytes.subarray(place, place + 8);
        return {
            version: b[0],
            isFirst: b[1] >> 7,
            isLast: b[1] >> 6 & 1,
            reserved: b[1] >> 5 & 1,
            isEligible: b[1] >> 4 & 1,
            length: (b[1] & 15) << 16 | b[2] << 8 | b[3],
            port: b[4],
            isNew: b[5] >> 7,
            sequence: (b[5] & 127) << 16 | b[6] << 8 | b[7],
        };
    }

    payloadOf(segment) {
        return this.place.at[segment] + (this.chunkRow.at[segment] === none ? 0 : 8);
    }

    payloadEnd(segment) {
        const row = this.chunkRow.at[segment];
        if (row !== none) return this.end.at[row];
        const isLast = segment + 1 === this.place.length;
        return isLast ? this.bytes.length : this.place.at[segment + 1];
    }

    /** Returns the parsed text of a row. */
    textOf(row) {
        const block = lastAtMost(this.firstOfBlock, row, 0, this.firstOfBlock.length);
        return JSON.parse(this.lineAt(block, this.textAt.at[row]));
    }

    messageOf(row) {
        return lastAtMost(this.firstRows, row, 0, this.firstRows.length);
    }

    /** Returns the number of bytes of an item before its value: those of its name. */
    nameSize(row) {
        const block = lastAtMost(this.firstOfBlock, row, 0, this.firstOfBlock.length);
        const text = this.blocks[block];
        const at = this.textAt.at[row];
        const numbers = text.slice(text.lastIndexOf("\n", at) + 1, at).split(" ");
        return Number(numbers[3]);
    }

    /** Returns the place in the input of a byte of a message. */
    placeOf(message, at) {
        const { segments } = this.messages[message];
        let low = 0;
        for (let high = segments.length; high - low > 1;) {
            const middle = (low + high) >>> 1;
            if (this.inMessage.at[segments[middle]] <= at) {
                low = middle;
            } else {
                high = middle;
            }
        }
        if (segments.length === 0) return 0;
        return this.payloadOf(segments[low]) + at - this.inMessage.at[segments[low]];
    }

    /** Returns the segment, the message and the position in it of a byte of the input. */
    find(place) {
        const segment = lastAtMost(this.place.at, place, 0, this.place.length);
        if (segment < 0 || place >= this.payloadEnd(segment)) return { segment: -1, message: none };
        const payload = this.payloadOf(segment);
        if (place < payload) return { segment, message: none };
        const at = place - payload + this.inMessage.at[segment];
        return { segment, message: this.owner.at[segment], at };
    }

    /** Returns the row of the innermost item that has this byte, or of its chunk, or `none`. */
    rowAt(place) {
        const { segment, message, at } = this.find(place);
        if (message === none) return segment < 0 ? none : this.chunkRow.at[segment];
        let row = this.lastItem(at, this.firstRows[message], this.messages[message].endRow);
        while (row !== none && this.kind.at[row] === kinds.item && this.end.at[row] <= at) {
            row = this.parent.at[row];
        }
        return row;
    }

    /** Returns the last item of a message that begins at this byte of it or before. */
    lastItem(at, first, endRow) {
        const low = this.kind.at[first] === kinds.message ? first + 1 : first;
        const row = lastAtMost(this.begin.at, at, low, endRow);
        return row >= low ? row : low > first ? first : none;
    }

    /** Returns what a row lights up: bytes of a message or of the input. */
    spanOf(row) {
        const span = { message: none, begin: this.begin.at[row], end: this.end.at[row] };
        const kind = this.kind.at[row];
        if (kind === kinds.item || kind === kinds.message) span.message = this.messageOf(row);
        return span;
    }

    isWithin(span, place) {
        if (span === null) return false;
        if (span.message === none) return place >= span.begin && place < span.end;
        const { message, at } = this.find(place);
        return message === span.message && at >= span.begin && at < span.end;
    }

    firstPlace(row) {
        const span = this.spanOf(row);
        return span.message === none ? span.begin : this.placeOf(span.message, span.begin);
    }

    bytesOf(message, begin, end) {
        const result = new Uint8Array(end - begin);
        for (let at = begin; at < end;) {
            const place = this.placeOf(message, at);
            const { segment } = this.find(place);
            const size = Math.min(end - at, this.payloadEnd(segment) - place);
            if (segment < 0 || size <= 0) break;
            result.set(this.bytes.subarray(place, place + size), at - begin);
            at += size;
        }
        return result;
    }

    /** Returns the content of a string, a binary or a file, or null for other rows. */
    contentOf(row) {
        if (this.kind.at[row] !== kinds.item) return null;
        const message = this.messageOf(row);
        const value = this.begin.at[row] + this.nameSize(row);
        const head = this.bytesOf(message, value, Math.min(value + 5, this.end.at[row]));
        const isString = head[0] === 0x08;
        if (!isString && head[0] !== 0x0A && head[0] !== 0x15) return null;
        const begin = value + (isString ? 3 : 5);
        const size = isString ? head[1] << 8 | head[2]
            : new DataView(head.buffer).getUint32(1);
        const end = Math.min(begin + size, this.end.at[row]);
        return { isString, message, begin, end: Math.max(begin, end) };
    }

    /** Returns what a byte is: of a head, a tag, a name, a value, or nothing. */
    partAt(place) {
        const row = this.rowAt(place);
        if (row === none) return "unknown";
        if (this.kind.at[row] === kinds.chunk) return this.find(place).message === none &&
            place < this.begin.at[row] + 8 ? "head" : "unknown";
        if (this.kind.at[row] !== kinds.item) return "unknown";
        const { message, at } = this.find(place);
        const begin = this.begin.at[row];
        const value = begin + this.nameSize(row);
        if (at < value) return at < begin + 4 ? "tag" : "name";
        const tag = this.bytes[this.placeOf(message, value)];
        if (tag === 0x00) return at < value + 4 || this.bytes[place] === 0x80 ? "tag" : "name";
        const isBracket = tag < 0x08;
        const head = tag === 0x08 ? 3 : tag === 0x0A || tag === 0x15 ? 5 : 1;
        const behind = this.end.at[row] - (value > begin ? 1 : 0);
        return isBracket || at < value + head || at >= behind ? "tag" : "value";
    }
}
