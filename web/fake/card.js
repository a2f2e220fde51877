/**
 * The data of a card as the service writes them: from an object or from the card's XML. Texts are
 * "byte strings" in here, a character for each byte of ISO-8859-15.
 */

// Where ISO-8859-15 differs from ISO-8859-1.
const latin9 = new Map(Object.entries({ '€': 0xa4, Š: 0xa6, š: 0xa8, Ž: 0xb4, ž: 0xb8, Œ: 0xbc, œ: 0xbd, Ÿ: 0xbe }));
const taken = new Set(latin9.values());

/** Raises an error for a character that can't stand on a card. @param {string} text */
export function toBytes(text) {
  return Array.from(text, (character) => {
    const code = latin9.get(character) ?? /** @type {number} */ (character.codePointAt(0));
    if (code > 255 || (taken.has(code) && !latin9.has(character))) throw new Error(`"${character}" can't stand on a card`);
    return String.fromCharCode(code);
  }).join('');
}

/**
 * An element's members, a line each, as the service writes them.
 * @param {[string, any][]} elements Names with texts or with elements of their own.
 * @returns {string}
 */
function write(elements) {
  return elements
    .map(([name, value]) => `"${name}":${typeof value === 'string' ? `"${value}"` : `\n{\n${write(value)}}`}`)
    .map((member, i) => `${member}${i < elements.length - 1 ? ',' : ''}\n`)
    .join('');
}

/** @param {object} object @returns {string} */
export function jsonOfObject(object) {
  /** @param {object} one @returns {[string, any][]} */
  const elementsOf = (one) =>
    Object.entries(one)
      .filter(([, value]) => value !== undefined)
      .flatMap(([name, value]) => [value].flat().map((each) => /** @type {[string, any]} */ ([
        toBytes(name),
        Object(each) === each ? elementsOf(each) : toBytes(String(each)),
      ])));
  return write(elementsOf(object));
}

const entities = { lt: '<', gt: '>', amp: '&', quot: '"', apos: "'" };

/** Resolves references; a character by its number becomes the bytes of UTF-8. @param {string} text */
function resolve(text) {
  return text.replace(/\r\n?/g, '\n').replace(/&(?:#(\d+)|#x([\da-f]+)|(\w+));/gi, (all, decimal, hex, name) => {
    if (name) return /** @type {Record<string, string>} */ (entities)[name] ?? all;
    const code = parseInt(decimal ?? hex, hex ? 16 : 10);
    return code > 0 && code < 0x110000 ? Buffer.from(String.fromCodePoint(code)).toString('latin1') : all;
  });
}

/**
 * The elements under the root, or an empty text for what is no XML or has none.
 * @param {string | Uint8Array} xml
 */
export function jsonOfXml(xml) {
  const text = typeof xml === 'string' ? toBytes(xml) : Buffer.from(xml).toString('latin1');
  /** @type {{ name: string, elements: [string, any][], first?: string }} */
  const root = { name: '', elements: [] };
  const open = [root];
  const nodes = /<!--[^]*?-->|<!\[CDATA\[([^]*?)\]\]>|<[?!][^>]*>|<\/([^\s>]+)\s*>|<([^\s/>!?]+)((?:\s+[^\s=>/]+\s*=\s*(?:"[^"]*"|'[^']*'))*)\s*(\/?)>|([^<]+)/gy;
  while (nodes.lastIndex < text.length) {
    const parent = open[open.length - 1];
    const node = nodes.exec(text);
    if (!node) return '';
    const [, data, end, name, , isEmpty, words] = node;
    if (words !== undefined && !words.trim()) continue;
    const isFirst = parent === root && parent.first === undefined;
    if (node[0].startsWith('<?')) {
      if (!isFirst) return '';
      continue;
    }
    // Of several nodes only the first can be the element's text.
    if (end === undefined) parent.first ??= words !== undefined ? resolve(words) : data ?? '';
    if (name !== undefined) {
      open.push({ name, elements: [] });
      if (!isEmpty) continue;
    } else if (end === undefined) {
      if (parent === root && words !== undefined) return '';
      continue;
    }
    const element = /** @type {typeof root} */ (open.pop());
    if (open.length === 0 || (end !== undefined && end !== element.name)) return '';
    const value = element.elements.length > 0 ? element.elements : element.first ?? '';
    open[open.length - 1].elements.push([element.name.replace(/^[^:]*:/, ''), value]);
  }
  const [[, elements] = []] = root.elements;
  return open.length === 1 && Array.isArray(elements) ? write(elements) : '';
}
