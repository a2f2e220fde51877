// From the answer's `daten` to lines for people. Whatever the card holds, of any shape, is taken
// as text or left out; nothing here writes HTML.

/** The text of a member, however often it stands on the card. */
function text(value) {
  if (typeof value === 'string') return value.trim();
  return Array.isArray(value) ? value.map(text).filter(Boolean).join(', ') : '';
}

const words = (...values) => values.map(text).filter(Boolean).join(' ');

/** An object's member; of several elements of one name the first. */
function part(value, ...names) {
  return names.reduce((at, name) => {
    const one = Array.isArray(at) ? at[0] : at;
    return Object(one)[name];
  }, value);
}

/** YYYYMMDD in the language's form; parts that are not known are zeros, and left out. What is no
 * date stays as it is. */
export function dateText(value, language) {
  const match = /^(\d{4})(\d\d)?(\d\d)?$/.exec(text(value));
  if (!match) return text(value);
  const [year, month, day] = match.slice(1).map(Number);
  if (!year) return '';
  const form = { year: 'numeric', timeZone: 'UTC' };
  if (month) form.month = 'long';
  if (month && day) form.day = 'numeric';
  const date = new Date(Date.UTC(year, (month || 1) - 1, (month && day) || 1));
  // Date takes 1 to 99 for years of 1900, and the 31st of February for a day in March.
  if (date.getUTCFullYear() !== year || (month && date.getUTCMonth() + 1 !== month) || (month && day && date.getUTCDate() !== day)) {
    return text(value);
  }
  return new Intl.DateTimeFormat(language === 'de' ? 'de-DE' : 'en-GB', form).format(date);
}

/** The page's word for a code of the card; a code without one stays as it is. */
const wordFor = (names, code) => (Object.hasOwn(names, code) ? names[code] : code);

function addressText(address) {
  const place = [part(address, 'Land', 'Wohnsitzlaendercode'), part(address, 'Postleitzahl'), part(address, 'Ort')];
  return [
    words(part(address, 'Strasse'), part(address, 'Hausnummer')),
    text(part(address, 'Anschriftenzusatz')),
    text(part(address, 'Postfach')),
    words(...place),
  ].filter(Boolean).join('\n');
}

/**
 * @param {object} daten
 * @param {object} texts The page's words in its language.
 * @param {string} language "de" or "en"
 * @returns {{ name: string, lines: [string, string][] }} What is not on the card is left out.
 */
export function describeInsured(daten, texts, language) {
  const insured = part(daten, 'PersoenlicheVersicherungsdaten', 'Versicherter');
  const person = part(insured, 'Person');
  const cover = part(daten, 'AllgemeineVersicherungsdaten', 'Versicherter');
  const payer = part(cover, 'Versicherungsschutz', 'Kostentraeger');
  const withNumber = (one) => {
    const number = text(part(one, 'Kostentraegerkennung'));
    return words(part(one, 'Name'), number && `(${number})`);
  };
  const kind = text(part(cover, 'Zusatzinfos', 'ZusatzinfosGKV', 'Versichertenart'));
  const sex = text(part(person, 'Geschlecht'));
  const name = words(
    part(person, 'Titel'), part(person, 'Vorname'), part(person, 'Namenszusatz'),
    part(person, 'Vorsatzwort'), part(person, 'Nachname'),
  );
  const lines = [
    [texts.number, text(part(insured, 'Versicherten_ID'))],
    [texts.born, dateText(part(person, 'Geburtsdatum'), language)],
    [texts.sex, wordFor(texts.sexes, sex)],
    [texts.address, addressText(part(person, 'StrassenAdresse'))],
    [texts.postbox, addressText(part(person, 'PostfachAdresse'))],
    [texts.insurance, withNumber(payer)],
    [texts.payer, withNumber(part(payer, 'AbrechnenderKostentraeger'))],
    [texts.insuredAs, wordFor(texts.kinds, kind)],
    [texts.since, dateText(part(cover, 'Versicherungsschutz', 'Beginn'), language)],
  ];
  return { name: name || texts.notGiven, lines: lines.filter(([, value]) => value) };
}
