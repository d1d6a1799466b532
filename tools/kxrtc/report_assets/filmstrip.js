// The pictures above the timeline, each at its time.

const film = byId('filmstrip');
const pictures = data.filmstrip.map(([us, source]) => {
  const button = element('button', undefined, 'picture');
  const image = element('img');
  button.type = 'button';
  button.title = `Show ${clock(us)}`;
  image.alt = `Picture at ${clock(us)}`;
  image.addEventListener('load', draw);
  image.src = source;
  button.append(image, element('span', clock(us).replace(/\.\d+$/, '')));
  button.addEventListener('click', () => setCursor(us));
  film.append(button);
  return { us, button, image };
});
film.hidden = pictures.length === 0;

// Shows as many pictures as have room side by side, each over its time.
function placePictures(width) {
  let free = 0;
  for (const { us, button, image } of pictures) {
    const shape = image.naturalWidth / Math.max(1, image.naturalHeight);
    const breadth = Math.max(32, Math.min(film.clientHeight * shape, width / 2));
    const x = Math.max(0, Math.min(toX(us, width) - breadth / 2, width - breadth));
    const isInView = us >= view.start && us <= view.start + view.length;
    const fits = image.naturalWidth > 0 && isInView && x >= free;
    button.hidden = !fits;
    if (!fits) continue;
    button.style.left = `${x}px`;
    button.style.width = `${breadth}px`;
    free = x + breadth + 2;
  }
}
