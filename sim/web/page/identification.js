// The fields of a module's page A0h (SFF-8472), in words.

/** Name and unit of a field that needs more than its key. A length counts metres, tens of metres or
 *  hundreds: `factor` says which. */
const kFields = {
  rate_mbd: {name: 'Rate', unit: 'MBd'},
  wavelength_nm: {name: 'Wavelength', unit: 'nm'},
  length_smf_km: {name: 'Reach on single-mode fibre', unit: 'km'},
  length_smf: {name: 'Reach on single-mode fibre', factor: 100, unit: 'm'},
  length_om1: {name: 'Reach on OM1 fibre', factor: 10, unit: 'm'},
  length_om2: {name: 'Reach on OM2 fibre', factor: 10, unit: 'm'},
  length_om3: {name: 'Reach on OM3 fibre', factor: 10, unit: 'm'},
  length_copper_or_om4: {name: 'Length of copper (m), or reach on OM4 fibre (10 m)', unit: ''},
  rate_margin_percent: {name: 'Margin of the rate', unit: '%'},
  oui: {name: 'Vendor’s number (OUI)', unit: ''},
  cc_base: {name: 'Checksum of the base fields', unit: ''},
  cc_ext: {name: 'Checksum of the extended fields', unit: ''},
  sff_8472_revision: {name: 'Revision of SFF-8472', unit: ''},
};

function nameOf(key) {
  const words = key.replaceAll('_', ' ');
  return words[0].toUpperCase() + words.slice(1);
}

function rowOf([key, value]) {
  const {name = nameOf(key), factor = 1, unit = ''} = kFields[key] ?? {};
  if (Array.isArray(value)) return [name, value.join(', ')];
  const number = typeof value === 'number' ? value * factor : value;
  return [name, `${number} ${unit}`.trim()];
}

/** Pairs of name and value. Lengths that do not apply are left out. */
export const identificationRows = (decoded) =>
  Object.entries(decoded)
    .filter(([key, value]) => value !== 0 || !key.startsWith('length_'))
    .map(rowOf);
