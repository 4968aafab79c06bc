<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>AboutDialog</name>
    <message>
        <source>About Halvoren</source>
        <translation>À propos de Halvoren</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Secure Files Sending for Multiple Recipients.</source>
        <translation>Envoi sécurisé de fichiers à plusieurs destinataires.</translation>
    </message>
    <message>
        <source>Visit home page - </source>
        <translation>Visiter la page d’accueil – </translation>
    </message>
    <message>
        <source>Support - </source>
        <translation>Assistance – </translation>
    </message>
</context>
<context>
    <name>ActionMan</name>
    <message>
        <source>Contact details for %1</source>
        <translation>Coordonnées de %1</translation>
    </message>
    <message>
        <source>First Name:</source>
        <translation>Prénom :</translation>
    </message>
    <message>
        <source>Last Name:</source>
        <translation>Nom :</translation>
    </message>
    <message>
        <source>Organization:</source>
        <translation>Organisation :</translation>
    </message>
    <message>
        <source>Email:</source>
        <translation>E-mail :</translation>
    </message>
    <message>
        <source>Comments:</source>
        <translation>Commentaires :</translation>
    </message>
</context>
<context>
    <name>AddFilesDialog</name>
    <message>
        <source>Select Files or Folders to Add</source>
        <translation>Choisir les fichiers ou dossiers à ajouter</translation>
    </message>
    <message>
        <source>Files and folders</source>
        <translation>Fichiers et dossiers</translation>
    </message>
    <message>
        <source>Space marks or unmarks the current item; Shift with an arrow marks the rows passed</source>
        <translation>Espace coche ou décoche l’élément courant ; Maj avec une flèche coche les lignes parcourues</translation>
    </message>
    <message>
        <source>Show &amp;hidden files</source>
        <translation>Afficher les fichiers &amp;cachés</translation>
    </message>
    <message>
        <source>Show files and folders whose names begin with a dot (Ctrl+H)</source>
        <translation>Afficher les fichiers et dossiers dont le nom commence par un point (Ctrl+H)</translation>
    </message>
    <message>
        <source>Show hidden files</source>
        <translation>Afficher les fichiers cachés</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>Show in File Manager</source>
        <translation>Afficher dans le gestionnaire de fichiers</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Propriétés</translation>
    </message>
</context>
<context>
    <name>ContactActionMan</name>
    <message>
        <source>Halvoren Key Files (*.kvxk)</source>
        <translation>Fichiers de clé Halvoren (*.kvxk)</translation>
    </message>
    <message>
        <source>Add to Recipients List</source>
        <translation>Ajouter à la liste des destinataires</translation>
    </message>
    <message>
        <source>Add New Contact</source>
        <translation>Ajouter un nouveau contact</translation>
    </message>
    <message>
        <source>Export Contact</source>
        <translation>Exporter le contact</translation>
    </message>
    <message>
        <source>Remove Contact</source>
        <translation>Supprimer le contact</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Tout sélectionner</translation>
    </message>
    <message>
        <source>Clear Selection</source>
        <translation>Effacer la sélection</translation>
    </message>
    <message>
        <source>Contact Details</source>
        <translation>Coordonnées du contact</translation>
    </message>
    <message>
        <source>Contact already exists. Please select another contact key file.</source>
        <translation>Ce contact existe déjà. Veuillez choisir un autre fichier de clé.</translation>
    </message>
    <message>
        <source>Add Contact Details</source>
        <translation>Ajouter les coordonnées du contact</translation>
    </message>
    <message>
        <source>Contact added successfully.</source>
        <translation>Le contact a bien été ajouté.</translation>
    </message>
    <message>
        <source>Open Contact Key File Name</source>
        <translation>Ouvrir le fichier de clé d’un contact</translation>
    </message>
    <message>
        <source>Export Contact Key to File</source>
        <translation>Exporter la clé du contact dans un fichier</translation>
    </message>
    <message>
        <source>Contact exported successfully.</source>
        <translation>Le contact a bien été exporté.</translation>
    </message>
    <message>
        <source>Details</source>
        <translation>Détails</translation>
    </message>
    <message>
        <source>Are you sure you want to remove this contact?</source>
        <translation>Voulez-vous vraiment supprimer ce contact ?</translation>
    </message>
    <message>
        <source>The contacts file could not be written.</source>
        <translation>Le fichier des contacts n’a pas pu être écrit.</translation>
    </message>
</context>
<context>
    <name>ContactDetailsDlg</name>
    <message>
        <source>Dialog</source>
        <translation>Dialogue</translation>
    </message>
    <message>
        <source>Contact Name</source>
        <translation>Nom du contact</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>Nom</translation>
    </message>
    <message>
        <source>The contact&apos;s name, as their key file gives it; required</source>
        <translation>Le nom du contact, tel que l’indique son fichier de clé ; obligatoire</translation>
    </message>
    <message>
        <source>First Name</source>
        <translation>Prénom</translation>
    </message>
    <message>
        <source>Last Name</source>
        <translation>Nom</translation>
    </message>
    <message>
        <source>Organization</source>
        <translation>Organisation</translation>
    </message>
    <message>
        <source>Email</source>
        <translation>E-mail</translation>
    </message>
    <message>
        <source>Comments</source>
        <translation>Commentaires</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
</context>
<context>
    <name>ErrorText</name>
    <message>
        <source>Incorrect function.</source>
        <translation>Fonction incorrecte.</translation>
    </message>
    <message>
        <source>The system cannot find the file specified.</source>
        <translation>Le fichier spécifié est introuvable.</translation>
    </message>
    <message>
        <source>The system cannot find the path specified.</source>
        <translation>Le chemin d’accès spécifié est introuvable.</translation>
    </message>
    <message>
        <source>The system cannot open the file because too many files are open.</source>
        <translation>Impossible d’ouvrir le fichier : trop de fichiers sont ouverts.</translation>
    </message>
    <message>
        <source>Access is denied.</source>
        <translation>Accès refusé.</translation>
    </message>
    <message>
        <source>The handle is invalid.</source>
        <translation>Le descripteur n’est pas valide.</translation>
    </message>
    <message>
        <source>Not enough memory resources are available to process this command.</source>
        <translation>Mémoire insuffisante pour traiter cette commande.</translation>
    </message>
    <message>
        <source>An attempt was made to load a program with an incorrect format.</source>
        <translation>Tentative de chargement d’un programme au format incorrect.</translation>
    </message>
    <message>
        <source>The data is invalid.</source>
        <translation>Les données ne sont pas valides.</translation>
    </message>
    <message>
        <source>Not enough memory resources are available to complete this operation.</source>
        <translation>Mémoire insuffisante pour terminer cette opération.</translation>
    </message>
    <message>
        <source>The media is write protected.</source>
        <translation>Le support est protégé en écriture.</translation>
    </message>
    <message>
        <source>The device is not ready.</source>
        <translation>Le périphérique n’est pas prêt.</translation>
    </message>
    <message>
        <source>The drive cannot locate a specific area or track on the disk.</source>
        <translation>Le lecteur ne trouve pas une zone ou une piste du disque.</translation>
    </message>
    <message>
        <source>The system cannot write to the specified device.</source>
        <translation>Impossible d’écrire sur le périphérique spécifié.</translation>
    </message>
    <message>
        <source>The system cannot read from the specified device.</source>
        <translation>Impossible de lire le périphérique spécifié.</translation>
    </message>
    <message>
        <source>The process cannot access the file because it is being used by another process.</source>
        <translation>Impossible d’accéder au fichier : il est utilisé par un autre processus.</translation>
    </message>
    <message>
        <source>Reached the end of the file.</source>
        <translation>La fin du fichier a été atteinte.</translation>
    </message>
    <message>
        <source>The disk is full.</source>
        <translation>Le disque est plein.</translation>
    </message>
    <message>
        <source>The request is not supported.</source>
        <translation>Cette demande n’est pas prise en charge.</translation>
    </message>
    <message>
        <source>The file exists.</source>
        <translation>Le fichier existe.</translation>
    </message>
    <message>
        <source>The directory or file cannot be created.</source>
        <translation>Impossible de créer le répertoire ou le fichier.</translation>
    </message>
    <message>
        <source>The parameter is incorrect.</source>
        <translation>Le paramètre est incorrect.</translation>
    </message>
    <message>
        <source>The pipe has been ended.</source>
        <translation>Le canal de communication a été fermé.</translation>
    </message>
    <message>
        <source>There is not enough space on the disk.</source>
        <translation>Espace insuffisant sur le disque.</translation>
    </message>
    <message>
        <source>The data area passed to a system call is too small.</source>
        <translation>La zone de données passée à un appel système est trop petite.</translation>
    </message>
    <message>
        <source>The filename, directory name, or volume label syntax is incorrect.</source>
        <translation>La syntaxe du nom de fichier, de répertoire ou de volume est incorrecte.</translation>
    </message>
    <message>
        <source>An attempt was made to move the file pointer before the beginning of the file.</source>
        <translation>Tentative de placer le pointeur de fichier avant le début du fichier.</translation>
    </message>
    <message>
        <source>The directory is not empty.</source>
        <translation>Le répertoire n’est pas vide.</translation>
    </message>
    <message>
        <source>The requested resource is in use.</source>
        <translation>La ressource demandée est en cours d’utilisation.</translation>
    </message>
    <message>
        <source>Cannot create a file when that file already exists.</source>
        <translation>Impossible de créer un fichier qui existe déjà.</translation>
    </message>
    <message>
        <source>The filename or extension is too long.</source>
        <translation>Le nom ou l’extension du fichier est trop long.</translation>
    </message>
    <message>
        <source>The file size exceeds the limit allowed and cannot be saved.</source>
        <translation>La taille du fichier dépasse la limite autorisée ; il ne peut pas être enregistré.</translation>
    </message>
    <message>
        <source>The directory name is invalid.</source>
        <translation>Le nom du répertoire n’est pas valide.</translation>
    </message>
    <message>
        <source>Attempt to access invalid address.</source>
        <translation>Tentative d’accès à une adresse non valide.</translation>
    </message>
    <message>
        <source>Arithmetic result exceeded 32 bits.</source>
        <translation>Le résultat arithmétique dépasse 32 bits.</translation>
    </message>
    <message>
        <source>The volume for a file has been externally altered so that the opened file is no longer valid.</source>
        <translation>Le volume d’un fichier a été modifié de l’extérieur : le fichier ouvert n’est plus valide.</translation>
    </message>
    <message>
        <source>The request could not be performed because of an I/O device error.</source>
        <translation>La demande n’a pas pu être exécutée à cause d’une erreur de périphérique d’E/S.</translation>
    </message>
    <message>
        <source>Element not found.</source>
        <translation>Élément introuvable.</translation>
    </message>
    <message>
        <source>The operation was canceled by the user.</source>
        <translation>L’opération a été annulée par l’utilisateur.</translation>
    </message>
    <message>
        <source>This operation returned because the timeout period expired.</source>
        <translation>L’opération s’est terminée car le délai d’attente a expiré.</translation>
    </message>
    <message>
        <source>Invalid field.</source>
        <translation>Champ non valide.</translation>
    </message>
    <message>
        <source>The file cannot be accessed by the system: it is not a regular file.</source>
        <translation>Impossible d’accéder au fichier : ce n’est pas un fichier ordinaire.</translation>
    </message>
    <message>
        <source>The name of the file cannot be resolved by the system.</source>
        <translation>Le nom du fichier ne peut pas être résolu.</translation>
    </message>
    <message>
        <source>Bad Hash.</source>
        <translation>Hachage incorrect.</translation>
    </message>
    <message>
        <source>Bad Key.</source>
        <translation>Clé incorrecte.</translation>
    </message>
    <message>
        <source>Bad Length.</source>
        <translation>Longueur incorrecte.</translation>
    </message>
    <message>
        <source>Bad Data.</source>
        <translation>Données incorrectes.</translation>
    </message>
    <message>
        <source>Key does not exist.</source>
        <translation>La clé n’existe pas.</translation>
    </message>
    <message>
        <source>Your private key can&apos;t be read: its file in the profile&apos;s keys folder is damaged or belongs to another certificate.</source>
        <translation>Votre clé privée est illisible : son fichier dans le dossier des clés du profil est endommagé ou appartient à un autre certificat.</translation>
    </message>
    <message>
        <source>An internal error occurred.</source>
        <translation>Une erreur interne s’est produite.</translation>
    </message>
    <message>
        <source>The enveloped-data message does not contain the specified recipient.</source>
        <translation>Le message chiffré ne contient pas le destinataire spécifié.</translation>
    </message>
    <message>
        <source>Cannot find object or property.</source>
        <translation>Objet ou propriété introuvable.</translation>
    </message>
    <message>
        <source>An error occurred during encode or decode operation.</source>
        <translation>Une erreur s’est produite lors du codage ou du décodage.</translation>
    </message>
    <message>
        <source>Cannot find the requested object.</source>
        <translation>L’objet demandé est introuvable.</translation>
    </message>
    <message>
        <source>The cryptographic message is not of the expected type.</source>
        <translation>Le message chiffré n’est pas du type attendu.</translation>
    </message>
    <message>
        <source>The string contains an invalid X500 name attribute key, object identifier, value or delimiter.</source>
        <translation>La chaîne contient une clé d’attribut de nom X500, un identificateur d’objet, une valeur ou un séparateur non valide.</translation>
    </message>
    <message>
        <source>ASN1 bad tag value met.</source>
        <translation>Valeur de balise ASN1 incorrecte rencontrée.</translation>
    </message>
    <message>
        <source>Unknown error 0x%1.</source>
        <translation>Erreur inconnue 0x%1.</translation>
    </message>
    <message>
        <source>This file is not a valid Halvoren package file.</source>
        <translation>Ce fichier n’est pas un paquet Halvoren valide.</translation>
    </message>
    <message>
        <source>The package cannot be decrypted. You are not in the list of recipients who can view the files, you will not be able to access it.</source>
        <translation>Le paquet ne peut pas être déchiffré. Vous ne figurez pas parmi les destinataires autorisés à voir les fichiers : vous ne pourrez pas y accéder.</translation>
    </message>
</context>
<context>
    <name>FileListDlg</name>
    <message>
        <source>File List to Encrypt</source>
        <translation>Fichiers à chiffrer</translation>
    </message>
    <message>
        <source>Type here to search</source>
        <translation>Tapez ici pour chercher</translation>
    </message>
    <message>
        <source>Add Files...</source>
        <translation>Ajouter des fichiers…</translation>
    </message>
    <message>
        <source>Remove</source>
        <translation>Retirer</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Propriétés</translation>
    </message>
    <message>
        <source>Find in Files</source>
        <translation>Rechercher dans les fichiers</translation>
    </message>
    <message>
        <source>File list is empty</source>
        <translation>La liste des fichiers est vide</translation>
    </message>
    <message>
        <source>No results found for: &quot;%1&quot;</source>
        <translation>Aucun résultat pour : « %1 »</translation>
    </message>
    <message>
        <source>Adding Files...</source>
        <translation>Ajout des fichiers…</translation>
    </message>
</context>
<context>
    <name>ItemActions</name>
    <message>
        <source>Name:</source>
        <translation>Nom :</translation>
    </message>
    <message>
        <source>Folder:</source>
        <translation>Dossier :</translation>
    </message>
    <message>
        <source>Kind:</source>
        <translation>Type :</translation>
    </message>
    <message>
        <source>Not found</source>
        <translation>Introuvable</translation>
    </message>
    <message>
        <source>Folder</source>
        <translation>Dossier</translation>
    </message>
    <message>
        <source>Size:</source>
        <translation>Taille :</translation>
    </message>
    <message>
        <source>%1 (%2 bytes)</source>
        <translation>%1 (%2 octets)</translation>
    </message>
    <message>
        <source>Modified:</source>
        <translation>Modifié :</translation>
    </message>
    <message>
        <source>Permissions:</source>
        <translation>Autorisations :</translation>
    </message>
    <message>
        <source>Properties</source>
        <translation>Propriétés</translation>
    </message>
</context>
<context>
    <name>Launch</name>
    <message>
        <source>%1 could not be started: %2</source>
        <translation>%1 n’a pas pu être lancé : %2</translation>
    </message>
    <message>
        <source>%1 ended with an error (%2)</source>
        <translation>%1 s’est terminé sur une erreur (%2)</translation>
    </message>
    <message>
        <source>no program to open it was found (xdg-open is not installed)</source>
        <translation>aucun programme pour l’ouvrir n’a été trouvé (xdg-open n’est pas installé)</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Halvoren</source>
        <translation>Halvoren</translation>
    </message>
    <message>
        <source>Selected Recipients:</source>
        <translation>Destinataires choisis :</translation>
    </message>
    <message>
        <source>Available recipients</source>
        <translation>Destinataires disponibles</translation>
    </message>
    <message>
        <source>Your contacts. Move those who may open the package to the selected recipients.</source>
        <translation>Vos contacts. Déplacez ceux qui pourront ouvrir le paquet vers les destinataires choisis.</translation>
    </message>
    <message>
        <source>Progress</source>
        <translation>Progression</translation>
    </message>
    <message>
        <source>How far the running encryption or decryption is.</source>
        <translation>L’avancement du chiffrement ou du déchiffrement en cours.</translation>
    </message>
    <message>
        <source>Status</source>
        <translation>État</translation>
    </message>
    <message>
        <source>Drop area</source>
        <translation>Zone de dépôt</translation>
    </message>
    <message>
        <source>Drop files, folders or a package here. Press Enter or double-click to see the files to encrypt.</source>
        <translation>Déposez ici des fichiers, des dossiers ou un paquet. Appuyez sur Entrée ou double-cliquez pour voir les fichiers à chiffrer.</translation>
    </message>
    <message>
        <source>Search contacts</source>
        <translation>Rechercher des contacts</translation>
    </message>
    <message>
        <source>Shows only the available recipients whose names hold what you type.</source>
        <translation>N’affiche que les destinataires disponibles dont le nom contient ce que vous tapez.</translation>
    </message>
    <message>
        <source>Encrypt or decrypt</source>
        <translation>Chiffrer ou déchiffrer</translation>
    </message>
    <message>
        <source>Starts the encryption or decryption of the package in hand, or cancels it while it runs.</source>
        <translation>Lance le chiffrement ou le déchiffrement du paquet en cours, ou l’annule pendant qu’il s’exécute.</translation>
    </message>
    <message>
        <source>Selected recipients</source>
        <translation>Destinataires choisis</translation>
    </message>
    <message>
        <source>Only these contacts can open the package.</source>
        <translation>Seuls ces contacts pourront ouvrir le paquet.</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Available Recipients:&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;Destinataires disponibles :&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>&amp;Halvoren</source>
        <translation>&amp;Halvoren</translation>
    </message>
    <message>
        <source>&amp;Help</source>
        <translation>&amp;Aide</translation>
    </message>
    <message>
        <source>&amp;Package</source>
        <translation>&amp;Paquet</translation>
    </message>
    <message>
        <source>&amp;Edit Your Profile...</source>
        <translation>&amp;Modifier votre profil…</translation>
    </message>
    <message>
        <source>Ctrl+P</source>
        <translation>Ctrl+P</translation>
    </message>
    <message>
        <source>E&amp;mail Your Key</source>
        <translation>&amp;Envoyer votre clé par e-mail</translation>
    </message>
    <message>
        <source>Ctrl+S</source>
        <translation>Ctrl+S</translation>
    </message>
    <message>
        <source>Add New &amp;Contact</source>
        <translation>Ajouter un &amp;contact</translation>
    </message>
    <message>
        <source>&amp;Options...</source>
        <translation>&amp;Options…</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>&amp;Quitter</translation>
    </message>
    <message>
        <source>&amp;New</source>
        <translation>&amp;Nouveau</translation>
    </message>
    <message>
        <source>Ctrl+N</source>
        <translation>Ctrl+N</translation>
    </message>
    <message>
        <source>&amp;Open</source>
        <translation>&amp;Ouvrir</translation>
    </message>
    <message>
        <source>Ctrl+O</source>
        <translation>Ctrl+O</translation>
    </message>
    <message>
        <source>&amp;Add Files...</source>
        <translation>&amp;Ajouter des fichiers…</translation>
    </message>
    <message>
        <source>Ctrl+B</source>
        <translation>Ctrl+B</translation>
    </message>
    <message>
        <source>&amp;View Files...</source>
        <translation>&amp;Voir les fichiers…</translation>
    </message>
    <message>
        <source>Ctrl+V</source>
        <translation>Ctrl+V</translation>
    </message>
    <message>
        <source>Help &amp;Topics</source>
        <translation>&amp;Rubriques d’aide</translation>
    </message>
    <message>
        <source>Check for &amp;Updates</source>
        <translation>Rechercher des &amp;mises à jour</translation>
    </message>
    <message>
        <source>Give Us &amp;Feedback</source>
        <translation>Donner votre &amp;avis</translation>
    </message>
    <message>
        <source>&amp;About Halvoren</source>
        <translation>À &amp;propos de Halvoren</translation>
    </message>
    <message>
        <source>&amp;Close</source>
        <translation>&amp;Fermer</translation>
    </message>
    <message>
        <source>An error occurred during application startup. Do you want to reset all changes that were made?</source>
        <translation>Une erreur s’est produite au démarrage de l’application. Voulez-vous annuler toutes les modifications effectuées ?</translation>
    </message>
    <message>
        <source>an unknown contact</source>
        <translation>un contact inconnu</translation>
    </message>
    <message>
        <source>The certificate of %1 can&apos;t be read: %2 (%3)</source>
        <translation>Certificat illisible pour %1 : %2 (%3)</translation>
    </message>
    <message>
        <source>These contacts are left out of the lists. Import their key files again to repair them; the damaged files stay where they are.</source>
        <translation>Ces contacts ne figurent pas dans les listes. Importez de nouveau leurs fichiers de clé pour les réparer ; les fichiers endommagés restent où ils sont.</translation>
    </message>
    <message>
        <source>Type here to search</source>
        <translation>Tapez ici pour chercher</translation>
    </message>
    <message>
        <source>Encrypt and Email</source>
        <translation>Chiffrer et envoyer par e-mail</translation>
    </message>
    <message>
        <source>Drop &lt;b&gt;Files&lt;/b&gt; or &lt;b&gt;Package&lt;/b&gt; Here</source>
        <translation>Déposez ici des &lt;b&gt;fichiers&lt;/b&gt; ou un &lt;b&gt;paquet&lt;/b&gt;</translation>
    </message>
    <message>
        <source>Press &lt;b&gt;Decrypt&lt;/b&gt; Button to Extract Files</source>
        <translation>Cliquez sur &lt;b&gt;Déchiffrer&lt;/b&gt; pour extraire les fichiers</translation>
    </message>
    <message>
        <source>&lt;b&gt;Double-Click&lt;/b&gt; Here to View Files</source>
        <translation>&lt;b&gt;Double-cliquez&lt;/b&gt; ici pour voir les fichiers</translation>
    </message>
    <message>
        <source>Ready</source>
        <translation>Prêt</translation>
    </message>
    <message>
        <source>Add to recipients</source>
        <translation>Ajouter aux destinataires</translation>
    </message>
    <message>
        <source>Moves the selected contacts to the selected recipients.</source>
        <translation>Déplace les contacts sélectionnés vers les destinataires choisis.</translation>
    </message>
    <message>
        <source>Remove from recipients</source>
        <translation>Retirer des destinataires</translation>
    </message>
    <message>
        <source>Moves the selected recipients back to the available ones.</source>
        <translation>Renvoie les destinataires sélectionnés parmi les disponibles.</translation>
    </message>
    <message>
        <source>The settings file %1 can&apos;t be read.</source>
        <translation>Le fichier de réglages %1 est illisible.</translation>
    </message>
    <message>
        <source>The contacts file %1 can&apos;t be read or created.</source>
        <translation>Le fichier des contacts %1 ne peut être ni lu ni créé.</translation>
    </message>
    <message>
        <source>The settings file %1 can&apos;t be read. It was kept as %2, and %3 starts with its default options.</source>
        <translation>Le fichier de réglages %1 est illisible. Il a été conservé sous le nom %2, et %3 démarre avec les options par défaut.</translation>
    </message>
    <message>
        <source>The settings didn&apos;t name your own identity. &quot;%1&quot; was recognised by its key%2.</source>
        <translation>Les réglages n’indiquaient pas votre propre identité. « %1 » a été reconnu à sa clé%2.</translation>
    </message>
    <message>
        <source> and written back to the settings</source>
        <translation> et réécrit dans les réglages</translation>
    </message>
    <message>
        <source>Enter Your Own Contact Information</source>
        <translation>Saisissez vos propres coordonnées</translation>
    </message>
    <message>
        <source>Your identity can&apos;t be made: %1</source>
        <translation>Votre identité ne peut pas être créée : %1</translation>
    </message>
    <message>
        <source>the profile can&apos;t be written.</source>
        <translation>le profil ne peut pas être écrit.</translation>
    </message>
    <message>
        <source>The contacts file %1 can&apos;t be read.</source>
        <translation>Le fichier des contacts %1 est illisible.</translation>
    </message>
    <message>
        <source>Check that the folder %1 exists and that you may write to it, then start %2 again.</source>
        <translation>Vérifiez que le dossier %1 existe et que vous pouvez y écrire, puis relancez %2.</translation>
    </message>
    <message>
        <source>&amp;Restore</source>
        <translation>&amp;Restaurer</translation>
    </message>
    <message>
        <source>&amp;About</source>
        <translation>À &amp;propos</translation>
    </message>
    <message>
        <source>Encrypt</source>
        <translation>Chiffrer</translation>
    </message>
    <message>
        <source>Decrypt</source>
        <translation>Déchiffrer</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
    <message>
        <source>Adding Files...</source>
        <translation>Ajout des fichiers…</translation>
    </message>
    <message>
        <source>Adding files was stopped; nothing was added.</source>
        <translation>L’ajout a été interrompu ; rien n’a été ajouté.</translation>
    </message>
    <message>
        <source>Halvoren is still running. To close it, use Halvoren → Quit. To keep the window on the taskbar, turn on Halvoren → Options → Do not hide when minimized.</source>
        <translation>Halvoren est toujours en cours d’exécution. Pour le fermer, choisissez Halvoren → Quitter. Pour garder la fenêtre dans la barre des tâches, activez Halvoren → Options → Ne pas masquer une fois réduit.</translation>
    </message>
    <message>
        <source>Emailing: %1</source>
        <translation>Envoi par e-mail : %1</translation>
    </message>
    <message>
        <source>An error occurred during sending contact key file.</source>
        <translation>Une erreur s’est produite lors de l’envoi du fichier de clé.</translation>
    </message>
    <message>
        <source>Emailing: %1 %2 Key File.</source>
        <translation>Envoi par e-mail : fichier de clé de %1 %2.</translation>
    </message>
    <message>
        <source>Save Halvoren Package as...</source>
        <translation>Enregistrer le paquet Halvoren sous…</translation>
    </message>
    <message>
        <source>Halvoren Package File (*.kvx)</source>
        <translation>Paquet Halvoren (*.kvx)</translation>
    </message>
    <message>
        <source>%1 already exists.
Do you want to replace it?</source>
        <translation>%1 existe déjà.
Voulez-vous le remplacer ?</translation>
    </message>
    <message>
        <source>Open Package File</source>
        <translation>Ouvrir un paquet</translation>
    </message>
    <message>
        <source>The list of Recipients is empty. Choose who you want to encrypt files for by adding their contacts to Recipients list</source>
        <translation>La liste des destinataires est vide. Choisissez pour qui chiffrer les fichiers en ajoutant leurs contacts à la liste des destinataires</translation>
    </message>
    <message>
        <source>You have no contact of your own to encrypt for. Add recipients to the Recipients list, or edit your profile.</source>
        <translation>Vous n’avez pas de contact personnel pour lequel chiffrer. Ajoutez des destinataires à la liste, ou modifiez votre profil.</translation>
    </message>
    <message>
        <source>These files have a backslash in their names, which a package can&apos;t keep (it separates folders there). Rename them or remove them from the package:
%1</source>
        <translation>Le nom de ces fichiers contient une barre oblique inverse, qu’un paquet ne peut pas conserver (elle y sépare les dossiers). Renommez-les ou retirez-les du paquet :
%1</translation>
    </message>
    <message>
        <source>These files would have the same name in the package, so one would replace the other when it is opened. Rename one of each pair or remove it from the package:

%1</source>
        <translation>Ces fichiers auraient le même nom dans le paquet : à l’ouverture, l’un remplacerait l’autre. Renommez un fichier de chaque paire ou retirez-le du paquet :

%1</translation>
    </message>
    <message>
        <source>The package can&apos;t be saved as %1: that file is one of the files to encrypt. Choose another name for the package.</source>
        <translation>Le paquet ne peut pas être enregistré sous %1 : ce fichier fait partie des fichiers à chiffrer. Choisissez un autre nom pour le paquet.</translation>
    </message>
    <message>
        <source>
... and %1 more</source>
        <translation>
… et %1 de plus</translation>
    </message>
    <message>
        <source>Select a folder to extract the files</source>
        <translation>Choisissez un dossier où extraire les fichiers</translation>
    </message>
    <message>
        <source>Encryption...</source>
        <translation>Chiffrement…</translation>
    </message>
    <message>
        <source>Decryption...</source>
        <translation>Déchiffrement…</translation>
    </message>
    <message>
        <source>Hashing...</source>
        <translation>Calcul de l’empreinte…</translation>
    </message>
    <message>
        <source>Writing File: </source>
        <translation>Écriture du fichier : </translation>
    </message>
    <message>
        <source>Extracting File: </source>
        <translation>Extraction du fichier : </translation>
    </message>
    <message>
        <source>An error occurred while processing:&lt;br&gt;</source>
        <translation>Une erreur s’est produite pendant le traitement :&lt;br&gt;</translation>
    </message>
    <message>
        <source>Continue</source>
        <translation>Continuer</translation>
    </message>
    <message>
        <source>Stopped. No package was written.</source>
        <translation>Interrompu. Aucun paquet n’a été écrit.</translation>
    </message>
    <message>
        <source>Failed. No package was written.</source>
        <translation>Échec. Aucun paquet n’a été écrit.</translation>
    </message>
    <message>
        <source>Encryption</source>
        <translation>chiffrement</translation>
    </message>
    <message>
        <source>Decryption</source>
        <translation>déchiffrement</translation>
    </message>
    <message>
        <source>The process of %1 has been completed successfully.</source>
        <translation>Le %1 s’est terminé avec succès.</translation>
    </message>
    <message>
        <source>The process of %1 failed.</source>
        <translation>Le %1 a échoué.</translation>
    </message>
    <message>
        <source>
Click for more details.</source>
        <translation>
Cliquez pour plus de détails.</translation>
    </message>
    <message>
        <source>Done!</source>
        <translation>Terminé !</translation>
    </message>
    <message>
        <source>Details</source>
        <translation>Détails</translation>
    </message>
    <message>
        <source>xdg-email, which hands messages to the mail program, is not installed</source>
        <translation>xdg-email, qui transmet les messages au logiciel de messagerie, n’est pas installé</translation>
    </message>
    <message>
        <source>The user guide could not be opened: %1.

You can open it in a web browser yourself:
%2</source>
        <translation>Le guide de l’utilisateur n’a pas pu être ouvert : %1.

Vous pouvez l’ouvrir vous-même dans un navigateur web :
%2</translation>
    </message>
    <message>
        <source>The page could not be opened: %1.

You can open this address in a web browser yourself:
%2</source>
        <translation>La page n’a pas pu être ouverte : %1.

Vous pouvez ouvrir vous-même cette adresse dans un navigateur web :
%2</translation>
    </message>
    <message>
        <source>Show in File Manager</source>
        <translation>Afficher dans le gestionnaire de fichiers</translation>
    </message>
    <message>
        <source>The package could not be handed to a mail program: %1.

It was saved as %2; attach it to a message yourself.</source>
        <translation>Le paquet n’a pas pu être transmis à un logiciel de messagerie : %1.

Il a été enregistré sous %2 ; joignez-le vous-même à un message.</translation>
    </message>
    <message>
        <source>Your key file could not be handed to a mail program: %1.

It was saved as %2; attach it to a message yourself.</source>
        <translation>Votre fichier de clé n’a pas pu être transmis à un logiciel de messagerie : %1.

Il a été enregistré sous %2 ; joignez-le vous-même à un message.</translation>
    </message>
</context>
<context>
    <name>OptionsDialog</name>
    <message>
        <source>Options</source>
        <translation>Options</translation>
    </message>
    <message>
        <source>Start application when I log in.</source>
        <translation>Lancer l’application à l’ouverture de session.</translation>
    </message>
    <message>
        <source>Do not hide when minimized.</source>
        <translation>Ne pas masquer une fois réduit.</translation>
    </message>
    <message>
        <source>Automatically encrypt files for myself.</source>
        <translation>Chiffrer automatiquement les fichiers pour moi aussi.</translation>
    </message>
    <message>
        <source>Do not notify when operation is completed.</source>
        <translation>Ne pas prévenir à la fin d’une opération.</translation>
    </message>
</context>
<context>
    <name>ProgressDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dialogue</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
</context>
<context>
    <name>RecipientActionMan</name>
    <message>
        <source>Remove</source>
        <translation>Retirer</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Tout sélectionner</translation>
    </message>
    <message>
        <source>Clear Selection</source>
        <translation>Effacer la sélection</translation>
    </message>
    <message>
        <source>Contact Details</source>
        <translation>Coordonnées du contact</translation>
    </message>
</context>
<context>
    <name>SearchingDialog</name>
    <message>
        <source>Dialog</source>
        <translation>Dialogue</translation>
    </message>
    <message>
        <source>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt;&quot;&gt;Searching...&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</source>
        <translation>&lt;html&gt;&lt;head/&gt;&lt;body&gt;&lt;p&gt;&lt;span style=&quot; font-size:10pt;&quot;&gt;Recherche…&lt;/span&gt;&lt;/p&gt;&lt;/body&gt;&lt;/html&gt;</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
</context>
<context>
    <name>StatusText</name>
    <message>
        <source>entry &quot;%1&quot;: </source>
        <translation>entrée « %1 » : </translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1 : %2</translation>
    </message>
    <message>
        <source>%1%2; nothing was extracted</source>
        <translation>%1%2 ; rien n’a été extrait</translation>
    </message>
    <message>
        <source>refusing to follow a symbolic link</source>
        <translation>refus de suivre un lien symbolique</translation>
    </message>
    <message>
        <source>the file got shorter while it was being read</source>
        <translation>le fichier a raccourci pendant sa lecture</translation>
    </message>
    <message>
        <source>the package would replace this file, which goes into it</source>
        <translation>le paquet remplacerait ce fichier, qui fait lui-même partie du paquet</translation>
    </message>
</context>
</TS>
