// From the answer's `daten` to what a person reads. Whatever the card holds, of any shape, is taken
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

/** Year, month and day of YYYYMMDD, where 0 is not known; undefined for what is no date. */
function dateParts(value) {
  const match = /^(\d{4})(\d\d)?(\d\d)?$/.exec(text(value));
  if (!match) return undefined;
  const [year, month, day] = match.slice(1).map((digits) => Number(digits ?? 0));
  const date = new Date(Date.UTC(year, (month || 1) - 1, (month && day) || 1));
  // Date takes 1 to 99 for years of 1900, and the 31st of February for a day in March.
  const isReal = date.getUTCFullYear() === year && (!month || date.getUTCMonth() + 1 === month) &&
    (!month || !day || date.getUTCDate() === day);
  return isReal || year === 0 ? { year, month, day: month && day, date } : undefined;
}

/** YYYYMMDD in the language's form, without the parts that are not known. What is no date stays as it is. */
export function dateText(value, language) {
  const parts = dateParts(value);
  if (!parts) return text(value);
  if (!parts.year) return '';
  const form = { year: 'numeric', timeZone: 'UTC' };
  if (parts.month) form.month = 'long';
  if (parts.day) form.day = 'numeric';
  return new Intl.DateTimeFormat(language === 'de' ? 'de-DE' : 'en-GB', form).format(parts.date);
}

/** How old somebody is: { years }, { months } in the first year; undefined where the day is not known. */
export function ageAt(value, now) {
  const { year, month, day } = dateParts(value) ?? {};
  if (!year || !day) return undefined;
  const months = (now.getFullYear() - year) * 12 + now.getMonth() + 1 - month - (now.getDate() < day ? 1 : 0);
  if (months < 0) return undefined;
  return months < 12 ? { months } : { years: Math.floor(months / 12) };
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
 * @param {Date} now For the age.
 * @returns {{ name: string, about: string, number: string, lines: [string, string][] }} `about` is
 *   birth and sex. What is not on the card is left out.
 */
export function describeInsured(daten, texts, language, now) {
  const insured = part(daten, 'PersoenlicheVersicherungsdaten', 'Versicherter');
  const person = part(insured, 'Person');
  const cover = part(daten, 'AllgemeineVersicherungsdaten', 'Versicherter');
  const payer = part(cover, 'Versicherungsschutz', 'Kostentraeger');
  const withNumber = (one) => {
    const number = text(part(one, 'Kostentraegerkennung'));
    return words(part(one, 'Name'), number && `(${number})`);
  };
  const given = part(person, 'Vorname');
  const name = words(
    part(person, 'Titel'), given === '-' ? '' : given, part(person, 'Namenszusatz'),
    part(person, 'Vorsatzwort'), part(person, 'Nachname'),
  );
  const birth = part(person, 'Geburtsdatum');
  const born = dateText(birth, language);
  const age = ageAt(birth, now);
  const sex = wordFor(texts.sexes, text(part(person, 'Geschlecht')));
  const kind = wordFor(texts.kinds, text(part(cover, 'Zusatzinfos', 'ZusatzinfosGKV', 'Versichertenart')));
  const lines = [
    [texts.insurance, withNumber(payer)],
    [texts.insuredAs, kind],
    [texts.since, dateText(part(cover, 'Versicherungsschutz', 'Beginn'), language)],
    [texts.until, dateText(part(cover, 'Versicherungsschutz', 'Ende'), language)],
    [texts.payer, withNumber(part(payer, 'AbrechnenderKostentraeger'))],
    [texts.address, addressText(part(person, 'StrassenAdresse'))],
    [texts.postbox, addressText(part(person, 'PostfachAdresse'))],
  ];
  return {
    name: name || texts.noName,
    about: [born && texts.born(born, age), sex].filter(Boolean).join(' · '),
    number: text(part(insured, 'Versicherten_ID')),
    lines: lines.filter(([, value]) => value),
  };
}
