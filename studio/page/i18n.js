// Every word of the page: key, English, German.
const words = {
  add: ['Add clips', 'Clips hinzufügen'],
  addTitle: ['Choose clips and photos', 'Clips und Fotos wählen'],
  addChosen: ['Add {n}', '{n} hinzufügen'],
  approximate: ['rendering …', 'wird berechnet …'],
  askReplace: ['{name} exists. Replace it?', '{name} gibt es schon. Ersetzen?'],
  auto: ['as the first clip', 'wie der erste Clip'],
  both: ['Keep both', 'Beide behalten'],
  cancel: ['Cancel', 'Abbrechen'],
  changedOutside: ['{name} was changed by another program.', '{name} wurde von einem anderen Programm geändert.'],
  clip: ['Clip {n} of {all}', 'Clip {n} von {all}'],
  clips: ['{n} clips', '{n} Clips'],
  close: ['Close', 'Schließen'],
  closing: ['Closing', 'Ende'],
  codec: ['Codec', 'Codec'],
  command: ['Command line', 'Befehlszeile'],
  copied: ['Copied', 'Kopiert'],
  copy: ['Copy', 'Kopieren'],
  copyBodies: ['Copy what lies between seams without a loss, where the clips allow it', 'Was zwischen Übergängen liegt, verlustfrei kopieren, wo die Clips es erlauben'],
  cut: ['Cut', 'Schnitt'],
  cutShort: ['cut', 'Schnitt'],
  direction: ['Direction', 'Richtung'],
  'direction.down': ['down', 'unten'],
  'direction.left': ['left', 'links'],
  'direction.right': ['right', 'rechts'],
  'direction.up': ['up', 'oben'],
  download: ['Save as a file', 'Als Datei speichern'],
  duplicate: ['Duplicate', 'Duplizieren'],
  duration: ['Duration', 'Dauer'],
  durationUnit: ['Duration in seconds', 'Dauer in Sekunden'],
  effect: ['Effect', 'Effekt'],
  empty: ['No clips yet. Add clips to begin.', 'Noch keine Clips. Beginnen Sie mit einem Clip.'],
  emptyFolder: ['No clips or photos here.', 'Keine Clips oder Fotos hier.'],
  ended: ['tumblewash has ended. Nothing is lost: start it again with tumblewash studio {name}', 'tumblewash wurde beendet. Nichts ist verloren: neu starten mit tumblewash studio {name}'],
  export: ['Export', 'Exportieren'],
  fit: ['Other shapes', 'Andere Formate'],
  'fit.blur': ['blurred strips', 'unscharfe Streifen'],
  'fit.contain': ['bars around', 'Balken'],
  'fit.cover': ['edges cut', 'Ränder abschneiden'],
  'fit.stretch': ['stretched', 'verzerren'],
  forward: ['One frame forward', 'Ein Bild vor'],
  frameOf: ['{effect}, frame {n} of {all}', '{effect}, Bild {n} von {all}'],
  keys: ['Keys', 'Tasten'],
  'keys.arrows': ['one frame; with Shift ten', 'ein Bild; mit Umschalt zehn'],
  'keys.home': ['start and end', 'Anfang und Ende'],
  'keys.jkl': ['back, stop, play; again is faster', 'zurück, halt, vor; nochmals ist schneller'],
  'keys.move': ['move the clip', 'den Clip verschieben'],
  'keys.off': ['Keys of one letter', 'Tasten aus einem Buchstaben'],
  'keys.remove': ['remove the clip', 'den Clip entfernen'],
  'keys.seams': ['next and previous seam', 'nächster und voriger Übergang'],
  'keys.space': ['play and stop', 'abspielen und anhalten'],
  'keys.undo': ['undo; with Shift redo', 'rückgängig; mit Umschalt wiederholen'],
  language: ['Deutsch', 'English'],
  length: ['Length', 'Länge'],
  limit: ['At most {s}: the clips have no more frames here.', 'Höchstens {s}: mehr Bilder haben die Clips hier nicht.'],
  loop: ['Loop', 'Schleife'],
  mine: ['Keep mine', 'Meine behalten'],
  moved: ['{name} moved to place {n} of {all}', '{name} an Stelle {n} von {all} verschoben'],
  moveLeft: ['Move left', 'Nach links'],
  moveRight: ['Move right', 'Nach rechts'],
  movieName: ['File name', 'Dateiname'],
  next: ['Next seam', 'Nächster Übergang'],
  noEffect: ['None', 'Keiner'],
  notSaved: ['Not saved', 'Nicht gespeichert'],
  notSavedWhy: ['Not saved: {why}. Your work is kept here; saving is tried again.', 'Nicht gespeichert: {why}. Ihre Arbeit bleibt hier; das Speichern wird wiederholt.'],
  now: ['Position', 'Position'],
  oneClip: ['Add a second clip to make a seam; opening and closing work with one.', 'Ein zweiter Clip ergibt einen Übergang; Anfang und Ende gehen auch mit einem.'],
  opening: ['Opening', 'Anfang'],
  output: ['Output', 'Ausgabe'],
  outputFacts: ['{s}, {size} at {rate} frames per second', '{s}, {size} mit {rate} Bildern pro Sekunde'],
  play: ['Play', 'Abspielen'],
  playSeam: ['Play seam', 'Übergang abspielen'],
  preparing: ['preparing …', 'wird vorbereitet …'],
  previous: ['Previous seam', 'Voriger Übergang'],
  quality: ['Quality (CRF)', 'Qualität (CRF)'],
  qualityAuto: ['usual', 'üblich'],
  quit: ['End the studio', 'Studio beenden'],
  rate: ['Frames per second', 'Bilder pro Sekunde'],
  redo: ['Redo', 'Wiederholen'],
  redoStep: ['Redo {step}', '{step} wiederholen'],
  remove: ['Remove', 'Entfernen'],
  render: ['Render movie', 'Film erstellen'],
  'render.cancelled': ['Cancelled; nothing was written', 'Abgebrochen; nichts wurde geschrieben'],
  'render.cancelling': ['Cancelling …', 'Wird abgebrochen …'],
  'render.checking': ['Checking the clips …', 'Die Clips werden geprüft …'],
  'render.done': ['Made {name} in {s}', '{name} in {s} erstellt'],
  'render.failed': ['Failed: {why}', 'Fehlgeschlagen: {why}'],
  'render.finishing': ['Finishing the file …', 'Die Datei wird abgeschlossen …'],
  'render.left': ['{n} of {all} frames, {fps} frames per second, {s} left', '{n} von {all} Bildern, {fps} Bilder pro Sekunde, noch {s}'],
  roll: ['Roll', 'Würfeln'],
  saved: ['Saved', 'Gespeichert'],
  saving: ['Saving', 'Speichert'],
  scrubValue: ['frame {n}, {s}', 'Bild {n}, {s}'],
  seam: ['Seam {n} of {all}', 'Übergang {n} von {all}'],
  seamButton: ['{s}, seam {n}: {effect}', '{s}, Übergang {n}: {effect}'],
  seconds: ['{s} s', '{s} s'],
  seed: ['Seed', 'Zufallszahl'],
  size: ['Size', 'Größe'],
  sound: ['Sound', 'Ton'],
  'sound.equal-power': ['equal power', 'gleiche Leistung'],
  'sound.natural': ['natural', 'natürlich'],
  'sound.none': ['none', 'ohne'],
  'sound.plugin': ['plug-in', 'Plug-in'],
  'step.add': ['adding clips', 'Clips hinzufügen'],
  'step.direction': ['direction', 'Richtung'],
  'step.duplicate': ['duplicating', 'Duplizieren'],
  'step.duration': ['duration', 'Dauer'],
  'step.effect': ['effect', 'Effekt'],
  'step.forAll': ['use for all', 'für alle übernehmen'],
  'step.length': ['length', 'Länge'],
  'step.move': ['moving', 'Verschieben'],
  'step.output': ['output', 'Ausgabe'],
  'step.remove': ['removing', 'Entfernen'],
  'step.seed': ['seed', 'Zufallszahl'],
  'step.sound': ['sound', 'Ton'],
  'step.theirs': ['taking theirs', 'Andere übernehmen'],
  'step.trim': ['trim', 'Kürzen'],
  stepBack: ['One frame back', 'Ein Bild zurück'],
  stop: ['Stop', 'Anhalten'],
  theirs: ['Use theirs', 'Andere übernehmen'],
  theme: ['Dark or light', 'Dunkel oder hell'],
  trimEnd: ['Trim end', 'Ende kürzen'],
  trimStart: ['Trim start', 'Anfang kürzen'],
  undo: ['Undo', 'Rückgängig'],
  undoStep: ['Undo {step}', '{step} rückgängig'],
  up: ['Folder above', 'Übergeordneter Ordner'],
  useForAll: ['Use for all', 'Für alle'],
  uses: ['Uses {n} frames of {a} and {b}.', 'Benutzt {n} Bilder von {a} und {b}.'],
};

let language = 0;
try {
  const kept = localStorage.getItem('language');
  language = (kept || navigator.language || 'en').startsWith('de') ? 1 : 0;
} catch { language = 0; }

export const languageCode = () => (language ? 'de' : 'en');
export function switchLanguage() {
  language = 1 - language;
  try { localStorage.setItem('language', languageCode()); } catch { /* not kept */ }
}
export function t(key, values) {
  const row = words[key];
  if (!row) return key;
  return row[language].replace(/\{(\w+)\}/g, (whole, name) => (values && name in values ? String(values[name]) : whole));
}
export const allWords = words;
export function number(value, digits) {
  return new Intl.NumberFormat(languageCode(), { maximumFractionDigits: digits, minimumFractionDigits: 0 }).format(value);
}
export const secondsText = (value) => t('seconds', { s: number(value, value < 10 ? 2 : 1) });
export function clock(value, parts = 2) {
  const minutes = Math.floor(value / 60);
  const rest = (value - 60 * minutes).toFixed(parts);
  const text = languageCode() === 'de' ? rest.replace('.', ',') : rest;
  return minutes + ':' + text.padStart(parts ? 3 + parts : 2, '0');
}
